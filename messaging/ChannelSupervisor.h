#pragma once

#include "DaemonChannel.h"
#include "ManagementService.h"
#include "ScanDaemonService.h"
#include "SequenceCounter.h"

#include <QObject>
#include <QTimer>

// Keeps both daemon channels open: connects whichever is down once a second, asks every
// daemon that is up for its whole state, and tells both how an update ended. While both are
// up it does nothing until a daemon reports or a refresh is asked for.
class ChannelSupervisor final : public QObject
{
    Q_OBJECT

public:
    static constexpr int RetryInterval = 1000;

    explicit ChannelSupervisor(QObject* parent = nullptr);

    ScanDaemonService& scanDaemon() { return m_scanDaemonService; }
    ManagementService& management() { return m_managementService; }
    bool isUp(Channel channel) const;

    // The first check, on the next pass of the event loop.
    void start();
    // A check one retry interval from now, which also asks every daemon that is up again.
    void refreshSoon();
    // The scan daemon hears of a success even if it is away now; the management client only
    // while it is connected.
    void reportUpdateResult(bool success);

signals:
    void channelLost(Channel channel);
    // A process that is not believed to be the daemon holds (or no longer holds) its address.
    void heldByStrangerChanged(Channel channel, bool held);

private:
    void check();
    void sendRequests();
    void send(DaemonChannel& channel, const QByteArray& body);

    ScanDaemonService m_scanDaemonService;
    ManagementService m_managementService;
    DaemonChannel m_scanDaemonChannel;
    DaemonChannel m_managementChannel;
    QTimer m_checkTimer;
    // One numbering for every frame on both channels.
    SequenceCounter m_sequence;
};
