#include "AlertView.h"

#include "images/alert_icon.xpm"

#include <QCloseEvent>
#include <QEvent>
#include <QGridLayout>
#include <QPushButton>
#include <QSpacerItem>
#include <QTextEdit>

AlertView::AlertView(QWidget* parent, Qt::WindowFlags flags)
    : QDialog(parent, flags)
{
    _icon = QPixmap(alert_icon_xpm);
    setWindowIcon(_icon);

    auto* layout = new QGridLayout(this);
    layout->addItem(new QSpacerItem(8, 8, QSizePolicy::Minimum, QSizePolicy::Minimum), 0, 0, 1, 1);

    _messageEdit = new QTextEdit(this);
    _messageEdit->setObjectName(QStringLiteral("messageEdit"));
    _messageEdit->setReadOnly(true);
    _messageEdit->setUndoRedoEnabled(false);
    layout->addWidget(_messageEdit, 1, 0, 1, 4);

    _prevButton = new QPushButton(this);
    _prevButton->setObjectName(QStringLiteral("prevButton"));
    _prevButton->setEnabled(false);
    layout->addWidget(_prevButton, 5, 1);
    connect(_prevButton, &QPushButton::clicked, this, &AlertView::_prev);

    _nextButton = new QPushButton(this);
    _nextButton->setObjectName(QStringLiteral("nextButton"));
    _nextButton->setEnabled(false);
    layout->addWidget(_nextButton, 5, 2);
    connect(_nextButton, &QPushButton::clicked, this, &AlertView::_next);

    layout->addItem(new QSpacerItem(8, 0, QSizePolicy::Minimum, QSizePolicy::Minimum), 5, 3, 1, 1);
    layout->addItem(new QSpacerItem(8, 8, QSizePolicy::Minimum, QSizePolicy::Minimum), 6, 4, 1, 1);

    languageChange();
    resize(QSize(480, 360).expandedTo(minimumSizeHint()));
}

void AlertView::alertsUpdated(int newCount)
{
    // A new alert is appended at the end, so whatever the user is reading stays in view.
    if (newCount > 0 && _alerts && !_alerts->empty()) {
        const int size = int(_alerts->size());
        if (_current >= size)
            _current = size - 1;
        updateButtons();
        displayCurrent();
    } else {
        _messageEdit->clear();
        _current = 0;
        _prevButton->setEnabled(false);
        _nextButton->setEnabled(false);
    }
    updateTitle();
}

void AlertView::languageChange()
{
    updateTitle();
    _prevButton->setText(tr("<<"));
    _nextButton->setText(tr(">>"));
}

void AlertView::_next()
{
    showAlert(_current + 1);
}

void AlertView::_prev()
{
    showAlert(_current - 1);
}

void AlertView::closeEvent(QCloseEvent* event)
{
    // Closing means the user has seen the alerts; the application drops them on cleanup().
    emit cleanup();
    QDialog::closeEvent(event);
}

void AlertView::changeEvent(QEvent* event)
{
    if (event->type() == QEvent::LanguageChange)
        languageChange();
    QDialog::changeEvent(event);
}

void AlertView::showAlert(int position)
{
    if (!_alerts) {
        _prevButton->setEnabled(false);
        _nextButton->setEnabled(false);
        updateTitle();
        return;
    }
    if (position < 0 || position == _current || position >= int(_alerts->size())) {
        updateTitle();
        return;
    }
    _current = position;
    updateButtons();
    displayCurrent();
    updateTitle();
}

void AlertView::displayCurrent()
{
    // Preset so that an alert whose template cannot be expanded still says something.
    QString text = tr("Unable to format message");
    (*_alerts)[std::size_t(_current)].formatMessage(text);
    _messageEdit->setText(text);
}

void AlertView::updateButtons()
{
    _prevButton->setEnabled(_current > 0);
    _nextButton->setEnabled(_current + 1 < int(_alerts->size()));
}

void AlertView::updateTitle()
{
    const int shown = _alerts ? _current + 1 : 0;
    const int size = _alerts ? int(_alerts->size()) : 0;
    setWindowTitle(tr("Mireval - Alert %1 of %2", "title").arg(shown).arg(size));
}
