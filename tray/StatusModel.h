#pragma once

#include "messaging/DefinitionsRelease.h"
#include "messaging/ProtectionStates.h"

#include <QObject>
#include <QString>

// What the two daemons last reported, as the status window and the tray icon show it.
// Every setter announces a change, and only a change.
class StatusModel final : public QObject
{
    Q_OBJECT

public:
    explicit StatusModel(QObject* parent = nullptr);

    ScannerState scannerState() const { return m_scannerState; }
    bool scanDaemonRunning() const { return m_scanDaemonRunning; }
    ManagementState managementState() const { return m_managementState; }
    QString scannerText() const;
    QString scanText() const;
    const QString& productVersion() const { return m_productVersion; }
    const QString& engineVersion() const { return m_engineVersion; }
    const QString& definitionsVersion() const { return m_definitionsVersion; }
    const QString& server() const { return m_server; }
    const QString& group() const { return m_group; }
    const QString& connectedTime() const { return m_connectedTime; }
    const QString& location() const { return m_location; }
    const QString& policyNumber() const { return m_policyNumber; }

    void setScannerState(ScannerState state);
    void setScanDaemonRunning(bool running);
    void setManagementState(ManagementState state);
    void setScanStatus(int code);
    void setProductVersion(const QString& version);
    void setEngineVersion(const QString& version);
    void setDefinitionsVersion(const QString& version);
    void setDefinitionsRelease(const DefinitionsRelease& release);
    void setServer(const QString& server);
    void setGroup(const QString& group);
    // Seconds since 1970 (UTC), shown in the user's zone; 0 clears it.
    void setConnectedTime(qint64 time);
    void setLocation(const QString& location);
    void setPolicyNumber(const QString& number);

    // The scan daemon went away: its scanner counts as malfunctioning and nothing runs. The
    // versions stay, so the window still tells what was installed.
    void resetScanDaemon();
    // The management client went away: it counts as disabled and its details are cleared.
    void resetManagement();

signals:
    // The scanner state, whether the scan daemon runs, or the management state changed.
    void protectionChanged();
    void scannerTextChanged(const QString& text);
    void scanTextChanged(const QString& text);
    void productVersionChanged(const QString& version);
    void engineVersionChanged(const QString& version);
    void definitionsVersionChanged(const QString& version);
    void serverChanged(const QString& server);
    void groupChanged(const QString& group);
    void connectedTimeChanged(const QString& time);
    void locationChanged(const QString& location);
    void policyNumberChanged(const QString& number);

private:
    using TextSignal = void (StatusModel::*)(const QString&);
    void assign(QString& field, const QString& value, TextSignal changed);

    ScannerState m_scannerState = ScannerState::Disabled;
    bool m_scanDaemonRunning = false;
    ManagementState m_managementState = ManagementState::Disabled;
    int m_scanStatus = 0;
    QString m_productVersion;
    QString m_engineVersion;
    QString m_definitionsVersion;
    QString m_server;
    QString m_group;
    QString m_connectedTime;
    QString m_location;
    QString m_policyNumber;
};
