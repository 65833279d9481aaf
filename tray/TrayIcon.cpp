#include "TrayIcon.h"

#include "images/Pictures.h"
#include "images/tray_green.xpm"
#include "images/tray_grey.xpm"
#include "images/tray_red.xpm"
#include "images/tray_shield.xpm"
#include "images/tray_yellow.xpm"
#include "tray/UserSettings.h"

#include <QCoreApplication>
#include <QSettings>
#include <QSystemTrayIcon>
#include <QTimer>

namespace {

constexpr int RecreateDelay = 100;
// A daemon may flip the choice many times a second: the file is written once it has settled.
constexpr int SaveDelay = 1000;

const char* const ShowIconKey = "Wardlet/ShowIcon";

} // namespace

TrayIcon::Picture TrayIcon::pictureFor(ScannerState scanner, bool scanDaemonRunning,
                                       ManagementState management)
{
    if (scanner != ScannerState::Enabled || !scanDaemonRunning)
        return Picture::Unprotected;
    switch (management) {
    case ManagementState::Unknown:
    case ManagementState::SelfManaged:
        return Picture::Shield;
    case ManagementState::Online:
        return Picture::Online;
    case ManagementState::Disabled:
        return Picture::ManagementAway;
    case ManagementState::Offline:
        return Picture::Offline;
    }
    return Picture::Unknown;
}

TrayIcon::TrayIcon(QObject* parent)
    : QObject(parent)
    , m_settings(userSettings())
{
    const char* const* const images[]
        = {tray_shield_xpm, tray_green_xpm, tray_red_xpm, tray_yellow_xpm, tray_grey_xpm};
    const char* const names[] = {"tray_shield", "tray_green", "tray_red", "tray_yellow", "tray_grey"};
    for (int i = 0; i < 5; ++i)
        m_pictures[i] = Pictures::icon(images[i], QLatin1String(names[i]));

    m_menu.addAction(QCoreApplication::translate("WardletApp", "Open &Trevanta"), this,
                     &TrayIcon::openRequested);
    m_menu.addSeparator();
    m_menu.addAction(QCoreApplication::translate("WardletApp", "&Exit"), this, &TrayIcon::quitRequested);

    m_shown = m_settings.value(ShowIconKey, true).toBool();
    m_savedShown = m_shown;
    m_saveTimer.setSingleShot(true);
    m_saveTimer.setInterval(SaveDelay);
    connect(&m_saveTimer, &QTimer::timeout, this, &TrayIcon::saveShown);
}

TrayIcon::~TrayIcon()
{
    if (m_saveTimer.isActive())
        saveShown();
    // The icon refers to the menu, which goes first as a member.
    if (m_icon) {
        m_icon->disconnect(this);
        delete m_icon;
    }
}

void TrayIcon::trayAppeared()
{
    m_trayPresent = true;
    if (!m_icon)
        create();
}

void TrayIcon::announceAgain()
{
    if (!m_icon || !m_icon->isVisible())
        return;
    m_icon->setVisible(false);
    m_icon->setVisible(true);
}

void TrayIcon::create()
{
    if (!m_shown || !m_trayPresent)
        return;
    m_icon = new QSystemTrayIcon(icon(m_picture), this);
    m_icon->setContextMenu(&m_menu);
    m_icon->setToolTip(toolTip(m_picture));
    // Should anything ever destroy the icon, the user gets it back.
    connect(m_icon, &QObject::destroyed, this, [this] {
        m_icon = nullptr;
        QTimer::singleShot(RecreateDelay, this, &TrayIcon::create);
    });
    m_icon->setVisible(true);
}

void TrayIcon::setPicture(Picture picture)
{
    if (picture == m_picture)
        return;
    m_picture = picture;
    if (!m_icon)
        return;
    m_icon->setIcon(icon(picture));
    m_icon->setToolTip(toolTip(picture));
}

QIcon TrayIcon::icon(Picture picture) const
{
    return m_pictures[int(picture == Picture::ManagementAway ? Picture::Unprotected : picture)];
}

// The picture in words, for those who cannot tell the badges' colours apart or use a screen reader.
QString TrayIcon::toolTip(Picture picture) const
{
    return QCoreApplication::translate("WardletApp", "Trevanta") + QLatin1Char('\n') + sentence(picture);
}

QString TrayIcon::sentence(Picture picture) const
{
    const char* text = nullptr;
    switch (picture) {
    case Picture::Shield:
        text = QT_TRANSLATE_NOOP("WardletApp", "Protected.");
        break;
    case Picture::Online:
        text = QT_TRANSLATE_NOOP("WardletApp", "Protected and in touch with the management server.");
        break;
    case Picture::Unprotected:
        text = m_scanDaemonHeld
            ? QT_TRANSLATE_NOOP("WardletApp",
                                "Not protected: another program holds the scan daemon's address.")
            : QT_TRANSLATE_NOOP("WardletApp",
                                "Not protected: the real-time scanner or the scan daemon is not running.");
        break;
    case Picture::Offline:
        text = QT_TRANSLATE_NOOP("WardletApp", "Protected, but the management server cannot be reached.");
        break;
    case Picture::Unknown:
        text = QT_TRANSLATE_NOOP("WardletApp", "Protected. The management client reports an unknown state.");
        break;
    case Picture::ManagementAway:
        text = m_managementHeld
            ? QT_TRANSLATE_NOOP("WardletApp",
                                "Protected, but another program holds the management client's address.")
            : QT_TRANSLATE_NOOP("WardletApp", "Protected, but the management client cannot be reached.");
        break;
    }
    return QCoreApplication::translate("WardletApp", text);
}

void TrayIcon::setHeldByStranger(Channel channel, bool held)
{
    (channel == Channel::ScanDaemon ? m_scanDaemonHeld : m_managementHeld) = held;
    if (m_icon)
        m_icon->setToolTip(toolTip(m_picture));
}

void TrayIcon::setShown(bool shown)
{
    if (shown == m_shown)
        return;
    m_shown = shown;
    m_saveTimer.start();
    if (shown && !m_icon)
        create();
    else if (m_icon)
        m_icon->setVisible(shown);
}

void TrayIcon::saveShown()
{
    m_saveTimer.stop();
    if (m_shown == m_savedShown)
        return;
    m_settings.setValue(ShowIconKey, m_shown);
    m_settings.sync();
    m_savedShown = m_shown;
}
