#pragma once

#include "messaging/ChannelAddress.h"
#include "messaging/ProtectionStates.h"

#include <QIcon>
#include <QMenu>
#include <QObject>
#include <QSettings>
#include <QTimer>

class QSystemTrayIcon;

// The icon in the notification area: its picture sums up the protection state, its menu
// opens the status window or ends the program, and the user's choice whether to show it at
// all is kept in the settings.
class TrayIcon final : public QObject
{
    Q_OBJECT

public:
    // What the icon shows. Each has its own tool tip; ManagementAway shares the red badge.
    enum class Picture
    {
        Shield, // protected, management state unknown or self-managed
        Online, // protected and managed by a server that is reachable
        Unprotected,
        Offline, // protected, the management server is not reachable
        Unknown, // protected, management state not one we know
        ManagementAway, // protected, but the management client is away
    };
    Q_ENUM(Picture)
    static Picture pictureFor(ScannerState scanner, bool scanDaemonRunning, ManagementState management);

    explicit TrayIcon(QObject* parent = nullptr);
    ~TrayIcon() override;

    Picture picture() const { return m_picture; }
    void setPicture(Picture picture);
    bool isShown() const { return m_shown; }
    // Remembers the choice for the next start too.
    void setShown(bool shown);
    // A notification area exists. Until then no icon is made, so that Qt ties it to that tray.
    void trayAppeared();
    // A restarted StatusNotifierItem watcher knows no items: the icon registers afresh.
    void announceAgain();
    // A process that is not the daemon holds its address: the tool tip says so.
    void setHeldByStranger(Channel channel, bool held);
    // The picture in words, as the tool tip says it below the product's name.
    QString stateSentence() const { return sentence(m_picture); }
    // Null while no icon is shown.
    QSystemTrayIcon* icon() const { return m_icon; }

signals:
    void openRequested();
    void quitRequested();

private:
    void create();
    void saveShown();
    QIcon icon(Picture picture) const;
    QString sentence(Picture picture) const;
    QString toolTip(Picture picture) const;

    QMenu m_menu;
    // The compiled-in 22 px pictures, with a 44 px rendering of each for high-DPI panels.
    QIcon m_pictures[5];
    QSystemTrayIcon* m_icon = nullptr;
    Picture m_picture = Picture::Shield;
    bool m_shown = true;
    bool m_trayPresent = false;
    bool m_scanDaemonHeld = false;
    bool m_managementHeld = false;
    // The choice as the settings file holds it.
    bool m_savedShown = true;
    QSettings m_settings;
    QTimer m_saveTimer;
};
