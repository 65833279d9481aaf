#pragma once

#include "app/SignalBridge.h"
#include "app/Translations.h"
#include "messaging/ChannelSupervisor.h"
#include "tray/AlertNotice.h"
#include "tray/NotificationServer.h"
#include "tray/ProtectionNotice.h"
#include "tray/StatusModel.h"
#include "tray/TrayHostWatcher.h"
#include "tray/TrayIcon.h"
#include "tray/UpdateLauncher.h"
#include "ui/AlertViewer.h"
#include "ui/StatusWindow.h"

#include <QApplication>

#include <optional>

class QSessionManager;

// The application: builds the daemon channels, the status model, the tray icon, the windows
// and the update launcher, and wires them together.
class WardletApp final : public QApplication
{
    Q_OBJECT

public:
    WardletApp(int& argc, char** argv);

    // Connects to the daemons once the event loop runs.
    void start();

    // For the benchmarks, which watch the real object from inside.
    const StatusModel& status() const { return m_status; }
    const TrayIcon& trayIcon() const { return m_trayIcon; }

private:
    // The windows are built when first needed, so start-up only shows the icon.
    StatusWindow& statusWindow();
    // The token is the one a launcher gave a second start, which asks for the window.
    void showStatusWindow(const QByteArray& launchToken = QByteArray());
    void showAlert(const Alert& alert);
    AlertViewer& alertViewer();
    // Shows the tray icon's picture and tells the notification about the loss of protection.
    void updateProtection();
    void wakeUp();
    void saveSessionState(QSessionManager& manager);

    // First, so that everything below is built in the user's language.
    Translations m_translations;
    ChannelSupervisor m_channels;
    StatusModel m_status;
    UpdateLauncher m_updateLauncher;
    TrayIcon m_trayIcon;
    TrayHostWatcher m_trayHosts;
    NotificationServer m_notifications;
    AlertNotice m_alertNotice{m_notifications};
    ProtectionNotice m_protectionNotice{m_notifications, [this] {
                                            return m_trayIcon.stateSentence();
                                        }};
    std::optional<StatusWindow> m_statusWindow;
    std::optional<AlertViewer> m_alertViewer;
    SignalBridge m_signals;
};
