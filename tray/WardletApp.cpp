#include "WardletApp.h"

#include "app/SingleInstance.h"
#include "images/tray_green.xpm"
#include "images/tray_grey.xpm"
#include "images/tray_red.xpm"
#include "images/tray_shield.xpm"
#include "images/tray_yellow.xpm"
#include "messaging/BigEndian.h"
#include "messaging/ChannelAddress.h"
#include "messaging/KvsStatusService.h"
#include "messaging/MessageIds.h"
#include "messaging/PdxStatusService.h"
#include "tray/InstallConfig.h"
#include "ui/AlertView.h"
#include "ui/MainView.h"

#include <QAction>
#include <QMenu>
#include <QMessageBox>
#include <QPixmap>
#include <QSessionManager>
#include <QSettings>
#include <QSocketNotifier>
#include <QSystemTrayIcon>
#include <QTimer>

#include <cerrno>
#include <clocale>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <new>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

const char* const SettingsOrganisation = "trevanta.example";
const char* const SettingsApplication = "wardlet";
const char* const SettingsGroup = "/Wardlet";
const char* const SettingsShowIcon = "/ShowIcon";
const int RetryInterval = 1000;
const int IconRecreateDelay = 100;
const int PixmapRed = 3;
const int PixmapGrey = 5;

// The update tool's warnings use the message box's own translation context.
void warn(const char* text)
{
    QMessageBox box(QMessageBox::Warning, QCoreApplication::translate("QMessageBox", "Warning", "title"),
                    QCoreApplication::translate("QMessageBox", text), QMessageBox::Ok);
    box.exec();
}

// Stores value in field and emits signal with it, but only when the text changed.
template <typename Emit> void assignText(QString& field, const QString& value, Emit emitChange)
{
    if (field == value)
        return;
    field = value;
    emitChange(field);
}

} // namespace

WardletApp::WardletApp(int& argc, char** argv)
    : QApplication(argc, argv)
    , kvsProcessor(&kvsTransport)
    , pdxProcessor(&pdxTransport)
{
    kvsTransport.setProcessor(&kvsProcessor);
    pdxTransport.setProcessor(&pdxProcessor);
    connect(&kvsTransport, &QtTransport::eof, this, &WardletApp::socketEOF);
    connect(&pdxTransport, &QtTransport::eof, this, &WardletApp::socketEOF);

    QSettings settings(QSettings::UserScope, QLatin1String(SettingsOrganisation),
                       QLatin1String(SettingsApplication));
    settings.beginGroup(QLatin1String(SettingsGroup));
    showIcon = settings.value(QLatin1String(SettingsShowIcon), QVariant(true)).toBool();

    connect(this, &QGuiApplication::saveStateRequest, this, &WardletApp::saveState);
}

WardletApp::~WardletApp()
{
    delete notifyNotifier;
    delete socketCheckTimer;
}

void WardletApp::initialize()
{
    kvsServiceId = kvsProcessor.registerService(new KvsStatusService(this));
    pdxServiceId = pdxProcessor.registerService(new PdxStatusService(this));

    socketCheckTimer = new QTimer(this);
    socketCheckTimer->setSingleShot(true);
    connect(socketCheckTimer, &QTimer::timeout, this, &WardletApp::socketCheck);

    mainView = new MainView;
    mainView->setNRAllowed(nrAllowed);
    mainView->setVGStatus(getVGStatusStr());
    mainView->setScanStatus(getScanStatusStr(true));
    mainView->setProgramVersion(productVersion);
    mainView->setEngineVersion(engineVersion);
    mainView->setDefsVersion(defsVersion);
    connect(this, &WardletApp::VGStatusStrChanged, mainView, &MainView::setVGStatus);
    connect(this, &WardletApp::NRAllowedChanged, mainView, &MainView::setNRAllowed);
    connect(mainView, &MainView::NRRequested, this, &WardletApp::requestNR);
    connect(this, &WardletApp::ScanStatusStrChanged, mainView, &MainView::setScanStatus);
    connect(this, &WardletApp::productVersionChanged, mainView, &MainView::setProgramVersion);
    connect(this, &WardletApp::engineVersionChanged, mainView, &MainView::setEngineVersion);
    connect(this, &WardletApp::defsVersionChanged, mainView, &MainView::setDefsVersion);
    connect(this, &WardletApp::ServerAddressStatusChanged, mainView, &MainView::setServerStatus);
    connect(this, &WardletApp::GroupInfoStatusChanged, mainView, &MainView::setGroupStatus);
    connect(this, &WardletApp::ConnectedTimeStatusChanged, mainView, &MainView::setConnectStatus);
    connect(this, &WardletApp::LocationInfoStatusChanged, mainView, &MainView::setLocationStatus);
    connect(this, &WardletApp::PolicyNumStatusChanged, mainView, &MainView::setPolicyNumStatus);

    alertView = new AlertView;
    alertView->_alerts = &alerts;
    connect(this, &WardletApp::alertCountChanged, alertView, &AlertView::alertsUpdated);
    connect(alertView, &AlertView::cleanup, this, &WardletApp::resetAlerts);

    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, notifyPipe) == 0) {
        notifyNotifier = new QSocketNotifier(notifyPipe[1], QSocketNotifier::Read, this);
        connect(notifyNotifier, &QSocketNotifier::activated, this, &WardletApp::pdxNotify);
    }

    const char* const* const images[]
        = {tray_shield_xpm, tray_shield_xpm, tray_green_xpm, tray_red_xpm, tray_yellow_xpm, tray_grey_xpm};
    for (int i = 0; i < 6; ++i)
        iconPixmaps[i] = new QPixmap(images[i]);
    createTrayIcon();
}

int WardletApp::nextSequence()
{
    return messageSequence.next();
}

int WardletApp::connectChannel(int channel)
{
    // Non-blocking only for the connect, so a daemon that stopped accepting cannot stall us;
    // close-on-exec so the update tool does not hold the channel open.
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (fd == -1) {
        std::printf("Unable to create socket: %d (%s)\n", errno, std::strerror(errno));
        std::fflush(stdout);
        return -1;
    }
    const sockaddr_un address = ChannelAddress::address(ChannelAddress::name(channel));
    if (::connect(fd, reinterpret_cast<const sockaddr*>(&address), ChannelAddress::Length) == -1
        && errno != EINPROGRESS) {
        ::close(fd);
        return -1;
    }
    ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) & ~O_NONBLOCK);
    return fd;
}

void WardletApp::begin()
{
    socketCheckTimer->start(0);
}

void WardletApp::socketCheck()
{
    if (!(channelsUp & KvsChannelUp)) {
        const int fd = connectChannel(ChannelAddress::Kvs);
        if (fd != -1) {
            channelsUp |= KvsChannelUp;
            kvsTransport.attach(fd);
        }
    }
    if (!(channelsUp & PdxChannelUp)) {
        const int fd = connectChannel(ChannelAddress::Pdx);
        if (fd != -1) {
            channelsUp |= PdxChannelUp;
            pdxTransport.attach(fd);
        }
    }
    updateTrayIcon();
    if (channelsUp != 0)
        sendRequest();
    if (channelsUp == (KvsChannelUp | PdxChannelUp))
        return;
    if (!socketCheckTimer->isActive())
        socketCheckTimer->start(RetryInterval);
}

void WardletApp::socketEOF()
{
    if (kvsTransport.socketDescriptor() == -1 && (channelsUp & KvsChannelUp)) {
        resetKvsStatus();
        channelsUp &= ~KvsChannelUp;
    }
    if (pdxTransport.socketDescriptor() == -1 && (channelsUp & PdxChannelUp)) {
        resetPdxStatus();
        channelsUp &= ~PdxChannelUp;
    }
    if (!socketCheckTimer->isActive())
        socketCheckTimer->start(RetryInterval);
}

void WardletApp::showMain()
{
    if (!mainView)
        return;
    if (mainView->isVisible()) {
        mainView->raise();
        mainView->activateWindow();
    } else {
        mainView->setVisible(true);
    }
}

void WardletApp::byebye()
{
    QCoreApplication::quit();
}

void WardletApp::sendRequest()
{
    const char* locale = std::setlocale(LC_ALL, nullptr);
    if (!locale)
        return;
    const int n = int(std::strlen(locale)) + 1;
    std::unique_ptr<unsigned char[]> buffer(new (std::nothrow) unsigned char[size_t(n) + 8]);
    if (!buffer)
        return;

    const auto send = [this, &buffer](MessageProcessor& processor, int serviceId, int id, int length) {
        BigEndian::writeU32(buffer.get(), uint32_t(id));
        processor.sendMessage(serviceId, 0, nextSequence(), length, buffer.get());
    };
    if (channelsUp & KvsChannelUp) {
        BigEndian::writeU32(buffer.get() + 4, uint32_t(n));
        std::memcpy(buffer.get() + 8, locale, size_t(n));
        send(kvsProcessor, kvsServiceId, KvsStatusRequest, n + 8);
        send(kvsProcessor, kvsServiceId, KvsVersionsRequest, 4);
        send(kvsProcessor, kvsServiceId, KvsScanStatusRequest, 4);
    }
    if (channelsUp & PdxChannelUp) {
        for (int id : {PdxServerStatusRequest, PdxGroupRequest, PdxConnectedTimeRequest, PdxLocationRequest,
                       PdxPolicyNumberRequest})
            send(pdxProcessor, pdxServiceId, id, 4);
    }
}

void WardletApp::displayAlert(qelUI::Alert alert)
{
    alerts.push_back(alert);
    emit alertCountChanged(int(alerts.size()));
    if (!alertView)
        return;
    if (alertView->isVisible()) {
        alertView->raise();
    } else {
        alertView->setVisible(true);
        alertView->activateWindow();
    }
}

void WardletApp::resetAlerts()
{
    alerts.clear();
    emit alertCountChanged(0);
}

QString WardletApp::getVGStatusStr()
{
    switch (vgStatus) {
    case VGDisabled:
        return tr("Disabled", "VGStatus");
    case VGEnabled:
        return tr("Enabled", "VGStatus");
    case VGNotInstalled:
        return tr("Not Installed", "VGStatus");
    default:
        return tr("Malfunctioning", "VGStatus");
    }
}

QString WardletApp::kvsStatusText(bool running)
{
    return running ? tr("Running", "KVSStatus") : tr("Disabled", "KVSStatus");
}

QString WardletApp::getKVSStatusStr()
{
    return kvsStatusText(kvsRunning);
}

QString WardletApp::pdxStatusText(int state)
{
    switch (state) {
    case ProtectionUnknown:
        return tr("Unknown", "PDXStatus");
    case ProtectionDisabled:
        return tr("Disabled", "PDXStatus");
    default:
        return tr("Running", "PDXStatus");
    }
}

QString WardletApp::getPDXStatusStr()
{
    return pdxStatusText(pdxState);
}

QString WardletApp::getScanStatusStr()
{
    return getScanStatusStr(false);
}

QString WardletApp::getScanStatusStr(bool collapse)
{
    switch (scanStatus) {
    case 1:
        return tr("Starting", "ScanStatus");
    case 2:
        return tr("Started", "ScanStatus");
    case 3:
        return tr("Stopping", "ScanStatus");
    case 4:
        return tr("Done", "ScanStatus");
    case 5:
        return tr("Scanning directories", "ScanStatus");
    case 6:
        return tr("Scanning boot sector", "ScanStatus");
    case 7:
        return tr("Scanning memory", "ScanStatus");
    case 8:
        return tr("Scanning files", "ScanStatus");
    case 9:
        return collapse ? tr("Done", "ScanStatus") : tr("Never run", "ScanStatus");
    case 10:
        return tr("Aborted", "ScanStatus");
    case 11:
        return tr("Queued", "ScanStatus");
    case 12:
        return tr("Delayed", "ScanStatus");
    case 13:
        return tr("Scanning proccesses", "ScanStatus");
    case 16:
        return tr("Suspended", "ScanStatus");
    case 17:
        return tr("Resumed", "ScanStatus");
    default:
        return tr("Unknown status", "ScanStatus");
    }
}

void WardletApp::setVGStatus(VGEnabledStatus status)
{
    if (status == vgStatus)
        return;
    vgStatus = status;
    const QString text = getVGStatusStr();
    updateTrayIcon();
    emit VGStatusStrChanged(text);
}

void WardletApp::setKVSStatus(bool status)
{
    if (status == kvsRunning)
        return;
    kvsRunning = status;
    const QString text = kvsStatusText(status);
    updateTrayIcon();
    emit KVSStatusStrChanged(text);
}

void WardletApp::setPDXStatus(enumProtectionState status)
{
    if (status == pdxState)
        return;
    pdxState = status;
    const QString text = pdxStatusText(status);
    updateTrayIcon();
    emit PDXStatusStrChanged(text);
}

void WardletApp::setNRAllowed(bool allowed)
{
    nrAllowed = allowed;
    emit NRAllowedChanged(allowed && !updateProcess);
}

void WardletApp::setScanStatus(int status)
{
    if (status == scanStatus)
        return;
    scanStatus = status;
    emit ScanStatusStrChanged(getScanStatusStr(true));
}

void WardletApp::resetKvsStatus()
{
    if (vgStatus != VGMalfunctioning) {
        vgStatus = VGMalfunctioning;
        const QString text = getVGStatusStr();
        updateTrayIcon();
        emit VGStatusStrChanged(text);
    }
    if (kvsRunning) {
        kvsRunning = false;
        const QString text = kvsStatusText(false);
        updateTrayIcon();
        emit KVSStatusStrChanged(text);
    }
    nrAllowed = false;
    emit NRAllowedChanged(false);
    if (scanStatus != 0) {
        scanStatus = 0;
        emit ScanStatusStrChanged(getScanStatusStr(true));
    }
}

void WardletApp::resetPdxStatus()
{
    if (pdxState != ProtectionDisabled) {
        pdxState = ProtectionDisabled;
        const QString text = pdxStatusText(ProtectionDisabled);
        updateTrayIcon();
        emit PDXStatusStrChanged(text);
    }
    const QString empty = tr("");
    setServerAddress(empty);
    setGroupInfo(empty);
    setConnectedTime(empty);
    setLocationInfo(empty);
    setPolicyNumber(empty);
}

QString WardletApp::getProductVersion()
{
    return productVersion;
}

QString WardletApp::getEngineVersion()
{
    return engineVersion;
}

QString WardletApp::getDefsVersion()
{
    return defsVersion;
}

void WardletApp::setProductVersion(const QString& version)
{
    assignText(productVersion, version, [this](const QString& v) { emit productVersionChanged(v); });
}

void WardletApp::setEngineVersion(const QString& version)
{
    assignText(engineVersion, version, [this](const QString& v) { emit engineVersionChanged(v); });
}

void WardletApp::setDefsVersion(const QString& version)
{
    assignText(defsVersion, version, [this](const QString& v) { emit defsVersionChanged(v); });
}

void WardletApp::setServerAddress(const QString& serveraddress)
{
    assignText(serverAddress, serveraddress,
               [this](const QString& v) { emit ServerAddressStatusChanged(v); });
}

void WardletApp::setGroupInfo(const QString& groupinfo)
{
    assignText(groupInfo, groupinfo, [this](const QString& v) { emit GroupInfoStatusChanged(v); });
}

void WardletApp::setConnectedTime(const QString& time)
{
    assignText(connectedTime, time, [this](const QString& v) { emit ConnectedTimeStatusChanged(v); });
}

void WardletApp::setLocationInfo(const QString& locationinfo)
{
    assignText(locationInfo, locationinfo, [this](const QString& v) { emit LocationInfoStatusChanged(v); });
}

void WardletApp::setPolicyNumber(const QString& policynum)
{
    assignText(policyNumber, policynum, [this](const QString& v) { emit PolicyNumStatusChanged(v); });
}

void WardletApp::setShowIcon(bool show)
{
    {
        QSettings settings(QSettings::UserScope, QLatin1String(SettingsOrganisation),
                           QLatin1String(SettingsApplication));
        settings.beginGroup(QLatin1String(SettingsGroup));
        settings.setValue(QLatin1String(SettingsShowIcon), show);
    }
    if (show == showIcon)
        return;
    showIcon = show;
    if (show && !trayIcon)
        createTrayIcon();
    else if (trayIcon)
        trayIcon->setVisible(show);
    emit showIconChanged(showIcon);
}

void WardletApp::createTrayIcon()
{
    if (!showIcon)
        return;
    openAction = new QAction(tr("Open &Trevanta"), this);
    connect(openAction, &QAction::triggered, this, &WardletApp::showMain);
    exitAction = new QAction(tr("&Exit"), this);
    connect(exitAction, &QAction::triggered, this, &WardletApp::byebye);
    trayMenu = new QMenu;
    trayMenu->addAction(openAction);
    trayMenu->addSeparator();
    trayMenu->addAction(exitAction);

    trayIcon = new QSystemTrayIcon;
    trayIcon->setContextMenu(trayMenu);
    trayIcon->setToolTip(tr("Trevanta"));
    connect(trayIcon, &QObject::destroyed, this, &WardletApp::iconClosed);
    setTrayImage(0);
    trayIcon->setVisible(true);
    if (channelsUp != 0)
        updateTrayIcon();
}

void WardletApp::setTrayImage(int index)
{
    if (trayIcon && iconPixmaps[index])
        trayIcon->setIcon(QIcon(*iconPixmaps[index]));
}

// Golden shield, or its badge for the management state, only while the scanner is enabled and
// the scan daemon runs; red otherwise, grey for a management state we do not know.
void WardletApp::updateTrayIcon()
{
    setTrayImage(PixmapGrey);
    if (vgStatus == VGEnabled && kvsRunning) {
        if (pdxState >= 0 && pdxState <= PixmapGrey)
            setTrayImage(pdxState);
    } else {
        setTrayImage(PixmapRed);
    }
}

void WardletApp::iconClosed()
{
    trayIcon = nullptr;
    QTimer::singleShot(IconRecreateDelay, this, &WardletApp::recreateIcon);
}

void WardletApp::recreateIcon()
{
    createTrayIcon();
}

void WardletApp::requestNR()
{
    if (!nrAllowed)
        return;
    if (updateProcess) {
        if (updateProcess->state() != QProcess::NotRunning)
            return;
        dropUpdateProcess();
    }
    emit NRAllowedChanged(false);

    updateProcess = new QProcess(this);
    const QByteArray tool = InstallConfig::updateTool(InstallConfig::configPath().constData());
    connect(updateProcess, qOverload<int, QProcess::ExitStatus>(&QProcess::finished), this,
            &WardletApp::NRComplete);
    connect(updateProcess, &QProcess::started, this, &WardletApp::NRStarted);
    connect(updateProcess, &QProcess::errorOccurred, this, &WardletApp::NRError);
    if (tool.isEmpty()) {
        launchFailed();
        return;
    }
    updateProcess->start(QString::fromLatin1(tool), QStringList(), QIODevice::ReadWrite);
}

void WardletApp::dropUpdateProcess()
{
    disconnect(updateProcess, nullptr, this, nullptr);
    updateProcess = nullptr;
}

void WardletApp::launchFailed()
{
    dropUpdateProcess();
    emit NRAllowedChanged(nrAllowed);
    warn(QT_TRANSLATE_NOOP("QMessageBox", "Failed to launch Novarel"));
}

void WardletApp::NRStarted()
{
    if (updateProcess && mainView)
        mainView->setNRRunning(true);
}

void WardletApp::NRError(QProcess::ProcessError procError)
{
    if (updateProcess && procError == QProcess::FailedToStart)
        launchFailed();
}

void WardletApp::NRComplete(int exitCode, QProcess::ExitStatus exitStatus)
{
    const bool hadProcess = updateProcess != nullptr;
    if (hadProcess)
        dropUpdateProcess();
    const bool success = !hadProcess || (exitStatus == QProcess::NormalExit && exitCode == 0);
    if (success) {
        unsigned char body[4];
        BigEndian::writeU32(body, KvsUpdateDone);
        kvsProcessor.sendMessage(kvsServiceId, 0, nextSequence(), sizeof body, body);
        emit NRAllowedChanged(nrAllowed);
    }
    if (mainView)
        mainView->setNRRunning(false);
    if (!success) {
        warn(QT_TRANSLATE_NOOP("QMessageBox", "Novarel failed"));
        emit NRAllowedChanged(nrAllowed);
    }
    if (channelsUp & PdxChannelUp) {
        unsigned char body[8];
        BigEndian::writeU32(body, PdxUpdateResult);
        BigEndian::writeU32(body + 4, success ? 0 : 1);
        pdxProcessor.sendMessage(pdxServiceId, 0, nextSequence(), sizeof body, body);
    }
}

void WardletApp::pdxNotify()
{
    if (!notifyNotifier)
        return;
    notifyNotifier->setEnabled(false);
    int token = WakeUpToken;
    if (::read(notifyPipe[1], &token, sizeof token) == sizeof token && token == QuitToken) {
        QCoreApplication::quit();
        notifyNotifier->setEnabled(true);
        return;
    }
    socketCheckTimer->start(RetryInterval);

    std::string home;
    homeDirectory(::getuid(), home);
    if (!home.empty()) {
        const std::string file = wakeUpFile(home, ::getpid());
        struct stat info;
        if (::stat(file.c_str(), &info) == 0) {
            showMain();
            ::unlink(file.c_str());
        }
    }
    notifyNotifier->setEnabled(true);
}

// A copy the user started is never restarted by the session manager; one that a session
// restore started asks to come back.
void WardletApp::saveState(QSessionManager& manager)
{
    manager.setRestartHint(isSessionRestored() ? QSessionManager::RestartIfRunning
                                               : QSessionManager::RestartNever);
}
