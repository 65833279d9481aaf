#pragma once

#include "DaemonState.h"
#include "SimChannel.h"

#include <QByteArray>
#include <QObject>
#include <QString>
#include <QStringList>

#include <cstdint>

class Message;

// Plays the scan daemon on one channel and the management client on the other: answers the
// tray's requests from the current state, and pushes reports whenever a command changes it.
class DaemonSimulator : public QObject
{
    Q_OBJECT

public:
    DaemonSimulator(const QByteArray& kvsName, const QByteArray& pdxName, QObject* parent = nullptr);

    // Listens on both channels; false once one of them cannot, after saying why.
    bool start();
    // Runs one command, the command's name first. Returns what was wrong with it, else nothing.
    QString execute(const QStringList& words);
    // The channel with that label, "kvs" or "pdx"; null for anything else.
    SimChannel* channel(const QString& label);

signals:
    void connectionChanged();

private:
    using Handler = QString (DaemonSimulator::*)(const QStringList& words);

    QString setVg(const QStringList& words);
    QString setFlag(const QStringList& words);
    QString setVersions(const QStringList& words);
    QString setDefsDate(const QStringList& words);
    QString setScan(const QStringList& words);
    QString setSelfManaged(const QStringList& words);
    QString setServer(const QStringList& words);
    QString setConnectedTime(const QStringList& words);
    QString setText(const QStringList& words);
    QString clearText(const QStringList& words);
    QString sendAlert(const QStringList& words);
    QString controlChannels(const QStringList& words);
    QString sendRaw(const QStringList& words);
    QString printStatus(const QStringList& words);

    void watch(SimChannel* channel);
    void handleFrame(SimChannel* channel, const Message& message);
    void transmit(SimChannel* channel, const QByteArray& body, const QString& description);

    void sendStatus();
    void sendVersions();
    void sendScanStatus();
    // The policy number, group or location report, by its message id.
    void sendTextReport(uint32_t id);
    // The server status or connected time report, by its message id; both carry one record.
    void sendServerReport(uint32_t id);

    DaemonState m_state;
    SimChannel m_kvs;
    SimChannel m_pdx;
};
