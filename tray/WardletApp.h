#pragma once

#include "messaging/MessageProcessor.h"
#include "messaging/QtTransport.h"
#include "messaging/SequenceCounter.h"
#include "tray/StatusCodes.h"
#include "ui/Alert.h"

#include <QApplication>
#include <QProcess>
#include <QString>

#include <vector>

class AlertView;
class MainView;
class QAction;
class QMenu;
class QPixmap;
class QSessionManager;
class QSocketNotifier;
class QSystemTrayIcon;
class QTimer;

// The one application object: owns both daemon channels and supervises them, holds the
// status model, drives the tray icon, keeps the alerts and launches the update tool.
class WardletApp : public QApplication
{
    Q_OBJECT
    Q_PROPERTY(bool showIcon READ getShowIcon WRITE setShowIcon DESIGNABLE true SCRIPTABLE true STORED true)

public:
    enum ChannelBit
    {
        KvsChannelUp = 1,
        PdxChannelUp = 2
    };
    // What the signal handler writes into the bridge.
    enum NotifyToken
    {
        WakeUpToken = 0,
        QuitToken = 1
    };

    WardletApp(int& argc, char** argv);
    ~WardletApp() override;

    // Creates services, timer, windows, signal bridge and tray icon; called once before the loop.
    void initialize();
    int nextSequence();
    static int connectChannel(int channel);
    void resetKvsStatus();
    void resetPdxStatus();
    bool getShowIcon() const { return showIcon; }
    QSystemTrayIcon* getTrayIcon() const { return trayIcon; }
    // The end of the signal bridge the handler writes to, or -1 without a bridge.
    int notifyDescriptor() const { return notifyNotifier ? notifyPipe[0] : -1; }

signals:
    void alertCountChanged(int newCount);
    void VGStatusStrChanged(const QString& status);
    void KVSStatusStrChanged(const QString& status);
    void PDXStatusStrChanged(const QString& status);
    void NRAllowedChanged(bool allowed);
    void ScanStatusStrChanged(const QString& status);
    void productVersionChanged(const QString& version);
    void engineVersionChanged(const QString& version);
    void defsVersionChanged(const QString& version);
    void showIconChanged(bool showIcon);
    void ServerAddressStatusChanged(const QString& value);
    void GroupInfoStatusChanged(const QString& value);
    void ConnectedTimeStatusChanged(const QString& value);
    void LocationInfoStatusChanged(const QString& value);
    void PolicyNumStatusChanged(const QString& value);

public slots:
    void begin();
    void socketEOF();
    void socketCheck();
    void showMain();
    void byebye();
    void sendRequest();
    void requestNR();
    void displayAlert(qelUI::Alert alert);
    void resetAlerts();
    void setVGStatus(VGEnabledStatus status);
    QString getVGStatusStr();
    void setKVSStatus(bool status);
    QString getKVSStatusStr();
    void setPDXStatus(enumProtectionState status);
    QString getPDXStatusStr();
    void setNRAllowed(bool allowed);
    void NRComplete(int exitCode, QProcess::ExitStatus exitStatus);
    void NRStarted();
    void NRError(QProcess::ProcessError procError);
    void setScanStatus(int status);
    QString getScanStatusStr();
    QString getScanStatusStr(bool collapse);
    QString getProductVersion();
    void setProductVersion(const QString& version);
    QString getEngineVersion();
    void setEngineVersion(const QString& version);
    QString getDefsVersion();
    void setDefsVersion(const QString& version);
    void setShowIcon(bool showIcon);
    void setServerAddress(const QString& serveraddress);
    void setGroupInfo(const QString& groupinfo);
    void setConnectedTime(const QString& connectedTime);
    void setLocationInfo(const QString& locationinfo);
    void setPolicyNumber(const QString& policynum);
    void iconClosed();
    void recreateIcon();
    void pdxNotify();

private:
    void createTrayIcon();
    void updateTrayIcon();
    void setTrayImage(int index);
    QString kvsStatusText(bool running);
    QString pdxStatusText(int state);
    void dropUpdateProcess();
    void launchFailed();
    void saveState(QSessionManager& manager);

    QtTransport kvsTransport;
    MessageProcessor kvsProcessor;
    QtTransport pdxTransport;
    MessageProcessor pdxProcessor;
    QString productVersion;
    QString engineVersion;
    QString defsVersion;
    QString serverAddress;
    QString groupInfo;
    QString connectedTime;
    QString locationInfo;
    QString policyNumber;
    int vgStatus = VGDisabled;
    bool kvsRunning = false;
    int pdxState = ProtectionDisabled;
    bool nrAllowed = false;
    bool showIcon = true;
    int scanStatus = 0;
    int channelsUp = 0;
    int kvsServiceId = 0;
    int pdxServiceId = 0;
    SequenceCounter messageSequence;
    QPixmap* iconPixmaps[6] = {};
    QProcess* updateProcess = nullptr;
    QTimer* socketCheckTimer = nullptr;
    MainView* mainView = nullptr;
    AlertView* alertView = nullptr;
    QSystemTrayIcon* trayIcon = nullptr;
    std::vector<qelUI::Alert> alerts;
    int notifyPipe[2] = {-1, -1};
    QSocketNotifier* notifyNotifier = nullptr;
    QMenu* trayMenu = nullptr;
    QAction* openAction = nullptr;
    QAction* exitAction = nullptr;
};
