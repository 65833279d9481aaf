#include "WardletApp.h"

#include "app/SingleInstance.h"
#include "ui/UpdateWarning.h"
#include "ui/WindowFocus.h"

#include <QSessionManager>

WardletApp::WardletApp(int& argc, char** argv)
    : QApplication(argc, argv)
{
    setQuitOnLastWindowClosed(false);

    ScanDaemonService& scanDaemon = m_channels.scanDaemon();
    connect(&scanDaemon, &ScanDaemonService::scannerStateReported, &m_status, &StatusModel::setScannerState);
    connect(&scanDaemon, &ScanDaemonService::runningReported, &m_status, &StatusModel::setScanDaemonRunning);
    connect(&scanDaemon, &ScanDaemonService::updateAllowedReported, &m_updateLauncher,
            &UpdateLauncher::setAllowed);
    connect(&scanDaemon, &ScanDaemonService::showIconReported, &m_trayIcon, &TrayIcon::setShown);
    connect(&scanDaemon, &ScanDaemonService::productVersionReported, &m_status,
            &StatusModel::setProductVersion);
    connect(&scanDaemon, &ScanDaemonService::engineVersionReported, &m_status,
            &StatusModel::setEngineVersion);
    connect(&scanDaemon, &ScanDaemonService::definitionsVersionReported, &m_status,
            &StatusModel::setDefinitionsVersion);
    connect(&scanDaemon, &ScanDaemonService::definitionsReleaseReported, &m_status,
            &StatusModel::setDefinitionsRelease);
    connect(&scanDaemon, &ScanDaemonService::scanStatusReported, &m_status, &StatusModel::setScanStatus);
    connect(&scanDaemon, &ScanDaemonService::alertReported, this, &WardletApp::showAlert);

    ManagementService& management = m_channels.management();
    connect(&management, &ManagementService::serverReported, &m_status, &StatusModel::setServer);
    connect(&management, &ManagementService::stateReported, &m_status, &StatusModel::setManagementState);
    connect(&management, &ManagementService::connectedTimeReported, &m_status,
            &StatusModel::setConnectedTime);
    connect(&management, &ManagementService::groupReported, &m_status, &StatusModel::setGroup);
    connect(&management, &ManagementService::locationReported, &m_status, &StatusModel::setLocation);
    connect(&management, &ManagementService::policyNumberReported, &m_status, &StatusModel::setPolicyNumber);

    connect(&m_channels, &ChannelSupervisor::channelLost, this, [this](Channel channel) {
        if (channel == Channel::ScanDaemon) {
            m_status.resetScanDaemon();
            m_updateLauncher.setAllowed(false);
        } else {
            m_status.resetManagement();
        }
    });
    connect(&m_channels, &ChannelSupervisor::heldByStrangerChanged, this, [this](Channel channel, bool held) {
        m_trayIcon.setHeldByStranger(channel, held);
        m_protectionNotice.reasonChanged();
    });
    connect(&m_status, &StatusModel::protectionChanged, this, &WardletApp::updateProtection);
    connect(&m_trayHosts, &TrayHostWatcher::hostAppeared, &m_trayIcon, &TrayIcon::trayAppeared);
    connect(&m_trayHosts, &TrayHostWatcher::statusNotifierWatcherReturned, &m_trayIcon,
            &TrayIcon::announceAgain);
    connect(&m_trayIcon, &TrayIcon::openRequested, this, [this] { showStatusWindow(); });
    connect(&m_alertNotice, &AlertNotice::detailsRequested, this,
            [this](quint64 alertNumber, const QByteArray& token) {
                alertViewer().bringForward(alertNumber, token);
            });
    connect(&m_protectionNotice, &ProtectionNotice::detailsRequested, this, &WardletApp::showStatusWindow);
    connect(&m_trayIcon, &TrayIcon::quitRequested, this, &QCoreApplication::quit);

    connect(&m_updateLauncher, &UpdateLauncher::startFailed, this, &UpdateWarning::startFailed);
    connect(&m_updateLauncher, &UpdateLauncher::runFailed, this, &UpdateWarning::runFailed);
    connect(&m_updateLauncher, &UpdateLauncher::finished, &m_channels,
            &ChannelSupervisor::reportUpdateResult);

    connect(&m_signals, &SignalBridge::wakeUpRequested, this, &WardletApp::wakeUp);
    connect(&m_signals, &SignalBridge::quitRequested, this, &QCoreApplication::quit);
    connect(this, &QGuiApplication::saveStateRequest, this, &WardletApp::saveSessionState);
}

StatusWindow& WardletApp::statusWindow()
{
    if (m_statusWindow)
        return *m_statusWindow;
    StatusWindow& window = m_statusWindow.emplace();
    window.setUpdateEnabled(m_updateLauncher.canLaunch());
    window.setUpdateRunning(m_updateLauncher.isRunning());
    window.setScannerState(m_status.scannerText());
    window.setScanState(m_status.scanText());
    // Values no daemon has reported yet keep the window's blank placeholders.
    const std::pair<const QString&, void (StatusWindow::*)(const QString&)> texts[]
        = {{m_status.productVersion(), &StatusWindow::setProductVersion},
           {m_status.engineVersion(), &StatusWindow::setEngineVersion},
           {m_status.definitionsVersion(), &StatusWindow::setDefinitionsVersion},
           {m_status.server(), &StatusWindow::setServer},
           {m_status.group(), &StatusWindow::setGroup},
           {m_status.connectedTime(), &StatusWindow::setConnectedTime},
           {m_status.location(), &StatusWindow::setLocation},
           {m_status.policyNumber(), &StatusWindow::setPolicyNumber}};
    for (const auto& [text, setter] : texts) {
        if (!text.isNull())
            (window.*setter)(text);
    }
    connect(&m_status, &StatusModel::scannerTextChanged, &window, &StatusWindow::setScannerState);
    connect(&m_status, &StatusModel::scanTextChanged, &window, &StatusWindow::setScanState);
    connect(&m_status, &StatusModel::productVersionChanged, &window, &StatusWindow::setProductVersion);
    connect(&m_status, &StatusModel::engineVersionChanged, &window, &StatusWindow::setEngineVersion);
    connect(&m_status, &StatusModel::definitionsVersionChanged, &window,
            &StatusWindow::setDefinitionsVersion);
    connect(&m_status, &StatusModel::serverChanged, &window, &StatusWindow::setServer);
    connect(&m_status, &StatusModel::groupChanged, &window, &StatusWindow::setGroup);
    connect(&m_status, &StatusModel::connectedTimeChanged, &window, &StatusWindow::setConnectedTime);
    connect(&m_status, &StatusModel::locationChanged, &window, &StatusWindow::setLocation);
    connect(&m_status, &StatusModel::policyNumberChanged, &window, &StatusWindow::setPolicyNumber);
    connect(&m_updateLauncher, &UpdateLauncher::availabilityChanged, &window,
            &StatusWindow::setUpdateEnabled);
    connect(&m_updateLauncher, &UpdateLauncher::runningChanged, &window, &StatusWindow::setUpdateRunning);
    connect(&window, &StatusWindow::updateRequested, &m_updateLauncher, &UpdateLauncher::launch);
    return window;
}

void WardletApp::start()
{
    updateProtection();
    m_trayHosts.start();
    m_channels.start();
}

void WardletApp::showStatusWindow(const QByteArray& launchToken)
{
    StatusWindow& window = statusWindow();
    const bool shown = window.isVisible();
    window.setVisible(true);
    window.raise();
    // A new window gets the focus from the window manager; a launcher's token asks for it too.
    if (shown || !launchToken.isEmpty())
        WindowFocus::request(window, launchToken);
}

void WardletApp::updateProtection()
{
    m_trayIcon.setPicture(TrayIcon::pictureFor(m_status.scannerState(), m_status.scanDaemonRunning(),
                                               m_status.managementState()));
    if (m_trayIcon.picture() == TrayIcon::Picture::Unprotected)
        m_protectionNotice.setUnprotected();
    else
        m_protectionNotice.setProtected();
}

AlertViewer& WardletApp::alertViewer()
{
    if (m_alertViewer)
        return *m_alertViewer;
    AlertViewer& viewer = m_alertViewer.emplace();
    connect(&viewer, &AlertViewer::alertsDiscarded, &m_alertNotice, &AlertNotice::withdraw);
    return viewer;
}

void WardletApp::showAlert(const Alert& alert)
{
    m_alertNotice.alertRaised(alert, alertViewer().addAlert(alert));
}

// Every wake-up refreshes the daemons' state a second later; one that a second copy sent also
// brings the status window forward.
void WardletApp::wakeUp()
{
    m_channels.refreshSoon();
    const std::optional<std::string> token = SingleInstance::takeWakeUpFile();
    if (!token)
        return;
    showStatusWindow(QByteArray::fromStdString(*token));
}

// A copy the user started is never restarted by the session manager; one that a session
// restore started asks to come back.
void WardletApp::saveSessionState(QSessionManager& manager)
{
    manager.setRestartHint(isSessionRestored() ? QSessionManager::RestartIfRunning
                                               : QSessionManager::RestartNever);
}
