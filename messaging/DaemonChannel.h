#pragma once

#include "ChannelAddress.h"
#include "MessageProcessor.h"
#include "SocketTransport.h"

#include <QByteArray>
#include <QObject>

class MessageService;

// One daemon's channel: its socket, the frames queued for it and the service that reads what
// it sends. Frames sent while the daemon is away wait for the next connection.
class DaemonChannel final : public QObject
{
    Q_OBJECT

public:
    // The longest body a daemon has a reason to send, with room to spare: the scan daemon's
    // largest report is an alert of ten short texts, the management client's a server name.
    // A frame announcing more ends the connection.
    static int maxBodyLength(Channel channel)
    {
        return channel == Channel::ScanDaemon ? 1024 * 1024 : 64 * 1024;
    }

    // service is not owned and must outlive the channel.
    DaemonChannel(Channel channel, MessageService* service, QObject* parent = nullptr);

    bool isUp() const { return m_transport.isAttached(); }
    // Tries to reach the daemon; true when the channel is up afterwards.
    bool connectToDaemon();
    // Queues one frame with this body.
    void send(int sequence, const QByteArray& body);

signals:
    // The daemon closed the connection or sent something that made no sense.
    void lost();

private:
    Channel m_channel;
    int m_serviceId;
    // The last process refused as the daemon, so each is logged once.
    pid_t m_refusedPeer = 0;
    SocketTransport m_transport;
    MessageProcessor m_processor;
};
