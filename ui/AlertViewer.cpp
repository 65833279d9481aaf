#include "AlertViewer.h"

#include "images/alert_icon.xpm"
#include "images/Pictures.h"
#include "ui/LocalTime.h"
#include "ui/WindowFocus.h"

#include <QCloseEvent>
#include <QCoreApplication>
#include <QEvent>
#include <QGridLayout>
#include <QPushButton>
#include <QSpacerItem>
#include <QTextEdit>
#include <QTimer>

AlertViewer::AlertViewer(QWidget* parent)
    : QDialog(parent)
{
    setWindowIcon(Pictures::icon(alert_icon_xpm, QStringLiteral("alert_icon")));

    auto* layout = new QGridLayout(this);
    layout->addItem(new QSpacerItem(8, 8, QSizePolicy::Minimum, QSizePolicy::Minimum), 0, 0, 1, 1);

    m_text = new QTextEdit(this);
    m_text->setReadOnly(true);
    layout->addWidget(m_text, 1, 0, 1, 4);

    m_previousButton = new QPushButton(this);
    m_previousButton->setObjectName(QStringLiteral("previousButton"));
    layout->addWidget(m_previousButton, 5, 1);
    connect(m_previousButton, &QPushButton::clicked, this, [this] { showAlert(m_current - 1); });

    m_nextButton = new QPushButton(this);
    m_nextButton->setObjectName(QStringLiteral("nextButton"));
    layout->addWidget(m_nextButton, 5, 2);
    connect(m_nextButton, &QPushButton::clicked, this, [this] { showAlert(m_current + 1); });

    layout->addItem(new QSpacerItem(8, 0, QSizePolicy::Minimum, QSizePolicy::Minimum), 5, 3, 1, 1);
    layout->addItem(new QSpacerItem(8, 8, QSizePolicy::Minimum, QSizePolicy::Minimum), 6, 4, 1, 1);

    m_presenter.setSingleShot(true);
    connect(&m_presenter, &QTimer::timeout, this, &AlertViewer::present);

    languageChange();
    resize(QSize(480, 360).expandedTo(minimumSizeHint()));
}

quint64 AlertViewer::addAlert(const Alert& alert)
{
    m_texts.append(alert.text(LocalTime::text(alert.time)));
    if (m_texts.size() > MaxAlerts) {
        m_texts.removeFirst();
        ++m_firstNumber;
        m_droppedLog.record();
        if (m_current > 0)
            --m_current;
        else
            m_textStale = true;
    }
    // The first alert after an empty list is shown; later ones only change the count.
    if (m_texts.size() == 1)
        m_textStale = true;
    if (!m_presenter.isActive())
        m_presenter.start(0);
    return m_firstNumber + quint64(m_texts.size()) - 1;
}

void AlertViewer::bringForward(quint64 alertNumber, const QByteArray& activationToken)
{
    // Nothing is held once the user closed the viewer: there is nothing to bring.
    if (m_texts.isEmpty())
        return;
    m_presenter.stop();
    if (alertNumber >= m_firstNumber && alertNumber - m_firstNumber < quint64(m_texts.size())) {
        m_current = int(alertNumber - m_firstNumber);
        m_textStale = true;
    }
    catchUp();
    setVisible(true);
    raise();
    WindowFocus::request(*this, activationToken);
}

void AlertViewer::catchUp()
{
    // Laid out once per burst, not once per alert that pushed the shown one out.
    if (m_textStale && !m_texts.isEmpty())
        m_text->setPlainText(m_texts.at(m_current));
    m_textStale = false;
    updateView();
}

void AlertViewer::present()
{
    qCDebug(lcAlerts, "the viewer holds %d alert(s)", count());
    catchUp();
    // An open viewer is only raised: the user may be typing elsewhere.
    if (isVisible()) {
        raise();
    } else {
        setVisible(true);
        WindowFocus::request(*this);
    }
}

void AlertViewer::showAlert(int position)
{
    // A click can come in before present() has caught the buttons up with a burst.
    if (position < 0 || position >= count())
        return;
    m_current = position;
    m_text->setPlainText(m_texts.at(m_current));
    updateView();
}

void AlertViewer::updateView()
{
    m_previousButton->setEnabled(m_current > 0);
    m_nextButton->setEnabled(m_current + 1 < count());
    const int shown = m_texts.isEmpty() ? 0 : m_current + 1;
    setWindowTitle(QCoreApplication::translate("AlertView", "Mireval - Alert %1 of %2", "title")
                       .arg(shown)
                       .arg(count()));
}

void AlertViewer::languageChange()
{
    updateView();
    m_previousButton->setText(QCoreApplication::translate("AlertView", "<<"));
    m_nextButton->setText(QCoreApplication::translate("AlertView", ">>"));
}

void AlertViewer::closeEvent(QCloseEvent* event)
{
    // Closing means the user has seen the alerts.
    m_presenter.stop();
    qCInfo(lcAlerts, "the alert viewer closed, discarding %d alert(s)", count());
    m_firstNumber += quint64(m_texts.size());
    m_texts.clear();
    m_current = 0;
    m_text->clear();
    updateView();
    QDialog::closeEvent(event);
    emit alertsDiscarded();
}

void AlertViewer::changeEvent(QEvent* event)
{
    if (event->type() == QEvent::LanguageChange)
        languageChange();
    QDialog::changeEvent(event);
}
