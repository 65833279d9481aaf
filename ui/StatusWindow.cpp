#include "StatusWindow.h"

#include "images/banner.xpm"
#include "images/Pictures.h"
#include "images/window_icon.xpm"

#include <QBoxLayout>
#include <QCoreApplication>
#include <QEvent>
#include <QFont>
#include <QFrame>
#include <QGridLayout>
#include <QGroupBox>
#include <QGuiApplication>
#include <QKeySequence>
#include <QLabel>
#include <QPushButton>
#include <QSize>
#include <QSizePolicy>
#include <QSpacerItem>
#include <QVariant>

namespace {

// Values start as blanks rather than empty so the rows keep their height before the daemons report.
// They are whatever the daemons and the management server sent: never read as markup.
QLabel* newValueLabel(int blanks, QWidget* parent)
{
    auto* label = new QLabel(QString(blanks, QLatin1Char(' ')), parent);
    label->setTextFormat(Qt::PlainText);
    return label;
}

// Group boxes lay out their rows from 1; the empty stretching rows around them keep the pairs
// vertically centred when the column makes a box taller than it needs.
QGridLayout* newGroupGrid(QGroupBox* box, int lastRow)
{
    auto* grid = new QGridLayout(box);
    grid->setColumnStretch(0, 1);
    grid->setColumnStretch(1, 2);
    grid->setRowStretch(0, 1);
    grid->setRowStretch(lastRow + 1, 1);
    return grid;
}

} // namespace

StatusWindow::StatusWindow(QWidget* parent)
    : QWidget(parent)
{
    setWindowIcon(Pictures::icon(window_icon_xpm, QStringLiteral("window_icon")));

    auto* windowLayout = new QVBoxLayout(this);
    auto* titleRow = new QHBoxLayout;
    auto* contentRow = new QHBoxLayout;
    auto* buttonRow = new QHBoxLayout;
    windowLayout->addLayout(titleRow, 0);
    windowLayout->addLayout(contentRow, 0);
    windowLayout->addLayout(buttonRow, 0);

    titleRow->addItem(new QSpacerItem(8, 0, QSizePolicy::Fixed, QSizePolicy::Fixed));
    m_titleLabel = new QLabel(this);
    QFont titleFont = m_titleLabel->font();
    titleFont.setPointSize(22);
    titleFont.setWeight(QFont::Bold);
    m_titleLabel->setFont(titleFont);
    titleRow->addWidget(m_titleLabel, 0);
    titleRow->addItem(new QSpacerItem(8, 0, QSizePolicy::Minimum, QSizePolicy::Minimum));

    contentRow->addItem(new QSpacerItem(8, 0, QSizePolicy::Minimum, QSizePolicy::Minimum));

    auto* imageColumn = new QVBoxLayout;
    imageColumn->addItem(new QSpacerItem(0, 8, QSizePolicy::Minimum, QSizePolicy::MinimumExpanding));
    m_bannerLabel = new QLabel(this);
    m_bannerLabel->setFrameShape(QFrame::StyledPanel);
    m_bannerLabel->setFrameShadow(QFrame::Sunken);
    updateBanner();
    imageColumn->addWidget(m_bannerLabel, 0);
    contentRow->addLayout(imageColumn);

    contentRow->addItem(new QSpacerItem(8, 0, QSizePolicy::Minimum, QSizePolicy::Minimum));

    auto* infoColumn = new QVBoxLayout;

    m_versionsBox = new QGroupBox(this);
    QGridLayout* versionsGrid = newGroupGrid(m_versionsBox, 2);
    m_programCaption = new QLabel(m_versionsBox);
    m_programVersion = newValueLabel(10, m_versionsBox);
    m_engineCaption = new QLabel(m_versionsBox);
    m_engineVersion = newValueLabel(10, m_versionsBox);
    versionsGrid->addWidget(m_programCaption, 1, 0);
    versionsGrid->addWidget(m_programVersion, 1, 1);
    versionsGrid->addWidget(m_engineCaption, 2, 0);
    versionsGrid->addWidget(m_engineVersion, 2, 1);
    infoColumn->addWidget(m_versionsBox, 0);

    m_definitionsBox = new QGroupBox(this);
    QGridLayout* defsGrid = newGroupGrid(m_definitionsBox, 1);
    m_definitionsCaption = new QLabel(m_definitionsBox);
    m_definitionsVersion = newValueLabel(16, m_definitionsBox);
    m_updateButton = new QPushButton(m_definitionsBox);
    connect(m_updateButton, &QPushButton::clicked, this, &StatusWindow::updateRequested);
    defsGrid->addWidget(m_definitionsCaption, 1, 0);
    defsGrid->addWidget(m_definitionsVersion, 1, 1);
    defsGrid->addWidget(m_updateButton, 1, 3);
    defsGrid->addItem(new QSpacerItem(8, 0, QSizePolicy::Fixed, QSizePolicy::Fixed), 1, 4);
    infoColumn->addWidget(m_definitionsBox, 0);

    m_statusBox = new QGroupBox(this);
    QGridLayout* statusGrid = newGroupGrid(m_statusBox, 2);
    m_scannerCaption = new QLabel(m_statusBox);
    m_scannerState = newValueLabel(10, m_statusBox);
    m_scanCaption = new QLabel(m_statusBox);
    m_scanState = newValueLabel(10, m_statusBox);
    statusGrid->addWidget(m_scannerCaption, 1, 0);
    statusGrid->addWidget(m_scannerState, 1, 1);
    statusGrid->addWidget(m_scanCaption, 2, 0);
    statusGrid->addWidget(m_scanState, 2, 1);
    infoColumn->addWidget(m_statusBox, 0);

    m_managementBox = new QGroupBox(this);
    QGridLayout* manageGrid = newGroupGrid(m_managementBox, 5);
    m_serverCaption = new QLabel(m_managementBox);
    m_server = newValueLabel(10, m_managementBox);
    m_groupCaption = new QLabel(m_managementBox);
    m_group = newValueLabel(10, m_managementBox);
    m_connectedCaption = new QLabel(m_managementBox);
    m_connectedTime = newValueLabel(10, m_managementBox);
    m_locationCaption = new QLabel(m_managementBox);
    m_location = newValueLabel(10, m_managementBox);
    m_policyCaption = new QLabel(m_managementBox);
    m_policyNumber = newValueLabel(10, m_managementBox);
    manageGrid->addWidget(m_serverCaption, 1, 0);
    manageGrid->addWidget(m_server, 1, 1);
    manageGrid->addWidget(m_groupCaption, 2, 0);
    manageGrid->addWidget(m_group, 2, 1);
    manageGrid->addWidget(m_connectedCaption, 3, 0);
    manageGrid->addWidget(m_connectedTime, 3, 1);
    manageGrid->addWidget(m_locationCaption, 4, 0);
    manageGrid->addWidget(m_location, 4, 1);
    manageGrid->addWidget(m_policyCaption, 5, 0);
    manageGrid->addWidget(m_policyNumber, 5, 1);
    infoColumn->addWidget(m_managementBox, 0);

    contentRow->addLayout(infoColumn);
    contentRow->addItem(new QSpacerItem(8, 0, QSizePolicy::Minimum, QSizePolicy::Minimum));

    buttonRow->addItem(new QSpacerItem(0, 0, QSizePolicy::MinimumExpanding, QSizePolicy::Minimum));
    m_closeButton = new QPushButton(this);
    // The application keeps running without windows, so closing only hides the window.
    connect(m_closeButton, &QPushButton::clicked, this, &QWidget::close);
    buttonRow->addWidget(m_closeButton, 0);
    buttonRow->addItem(new QSpacerItem(8, 0, QSizePolicy::Minimum, QSizePolicy::Minimum));

    languageChange();

    // Size for the longest definitions text the daemon sends, so the window does not grow
    // the first time it arrives.
    m_definitionsVersion->setText(QStringLiteral("00/00/0000 rev. 00"));
    const QSize hint = minimumSizeHint();
    resize(hint.expandedTo(QSize(100, 100)));
    // A Wayland compositor places windows itself.
    if (QGuiApplication::platformName() == QLatin1String("xcb"))
        move(0, 0);
    m_definitionsVersion->setText(QString(16, QLatin1Char(' ')));
}

void StatusWindow::setUpdateRunning(bool running)
{
    m_updateRunning = running;
    m_updateButton->setText(running ? QCoreApplication::translate("MainView", "&Novarel is running")
                                    : QCoreApplication::translate("MainView", "&Novarel"));
}

void StatusWindow::setProductVersion(const QString& value)
{
    m_programVersion->setText(value);
}

void StatusWindow::setEngineVersion(const QString& value)
{
    m_engineVersion->setText(value);
}

void StatusWindow::setDefinitionsVersion(const QString& value)
{
    m_definitionsVersion->setText(value);
}

void StatusWindow::setScannerState(const QString& value)
{
    m_scannerState->setText(value);
}

void StatusWindow::setScanState(const QString& value)
{
    m_scanState->setText(value);
}

void StatusWindow::setServer(const QString& value)
{
    m_server->setText(value);
}

void StatusWindow::setGroup(const QString& value)
{
    m_group->setText(value);
}

void StatusWindow::setConnectedTime(const QString& value)
{
    m_connectedTime->setText(value);
}

void StatusWindow::setLocation(const QString& value)
{
    m_location->setText(value);
}

void StatusWindow::setPolicyNumber(const QString& value)
{
    m_policyNumber->setText(value);
}

void StatusWindow::setUpdateEnabled(bool enabled)
{
    m_updateButton->setEnabled(enabled);
}

void StatusWindow::languageChange()
{
    setWindowTitle(QCoreApplication::translate("MainView", "Trevanta", "title"));
    m_titleLabel->setText(QCoreApplication::translate("MainView", "Trevanta"));
    m_versionsBox->setTitle(QCoreApplication::translate("MainView", "Program Version"));
    m_programCaption->setText(QCoreApplication::translate("MainView", "Program:"));
    m_engineCaption->setText(QCoreApplication::translate("MainView", "Scan Engine:"));
    m_definitionsBox->setTitle(QCoreApplication::translate("MainView", "Definitions"));
    m_definitionsCaption->setText(QCoreApplication::translate("MainView", "Version:"));
    // Keeps the running caption when the language changes mid-update.
    setUpdateRunning(m_updateRunning);
    m_updateButton->setShortcut(QKeySequence(QCoreApplication::translate("MainView", "Alt+N")));
    m_statusBox->setTitle(QCoreApplication::translate("MainView", "Status"));
    m_scannerCaption->setText(QCoreApplication::translate("MainView", "Vigilon:"));
    m_scanCaption->setText(QCoreApplication::translate("MainView", "Scan:"));
    m_managementBox->setTitle(QCoreApplication::translate("MainView", "Management"));
    m_serverCaption->setText(QCoreApplication::translate("MainView", "Server:"));
    m_groupCaption->setText(QCoreApplication::translate("MainView", "Group:"));
    m_connectedCaption->setText(QCoreApplication::translate("MainView", "Last Connected:"));
    m_locationCaption->setText(QCoreApplication::translate("MainView", "Location:"));
    m_policyCaption->setText(QCoreApplication::translate("MainView", "Policy Serial Number:"));
    m_closeButton->setText(QCoreApplication::translate("MainView", "&Close"));
    m_closeButton->setShortcut(QKeySequence(QCoreApplication::translate("MainView", "Alt+C")));
}

void StatusWindow::updateBanner()
{
    m_bannerLabel->setPixmap(Pictures::pixmap(banner_xpm, QStringLiteral("banner"), devicePixelRatioF()));
}

// A window that moves to a screen of another pixel ratio needs the banner drawn for that ratio.
bool StatusWindow::event(QEvent* event)
{
    switch (event->type()) {
#if QT_VERSION >= QT_VERSION_CHECK(6, 6, 0)
    case QEvent::DevicePixelRatioChange:
#endif
    case QEvent::ScreenChangeInternal:
        updateBanner();
        break;
    default:
        break;
    }
    return QWidget::event(event);
}

void StatusWindow::changeEvent(QEvent* event)
{
    if (event->type() == QEvent::LanguageChange)
        languageChange();
    QWidget::changeEvent(event);
}
