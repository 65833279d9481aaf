#pragma once

#include "ChannelAddress.h"
#include "Logging.h"
#include "LogThrottle.h"
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
    // Whether the last try found the daemon's address held by a process not believed to be it.
    bool isHeldByStranger() const { return m_heldByStranger; }
    // Tries to reach the daemon; true when the channel is up afterwards.
    bool connectToDaemon();
    // Queues one frame with this body, unless one with the same body already waits.
    void send(int sequence, const QByteArray& body);
    bool isQueued(const QByteArray& body) const;

signals:
    // The daemon closed the connection or sent something that made no sense.
    void lost();
    void heldByStrangerChanged(bool held);

private:
    void setHeldByStranger(bool held);

    Channel m_channel;
    int m_serviceId;
    // Root runs the daemons; the user's own processes are believed only beside test daemons.
    bool m_believesUser;
    bool m_heldByStranger = false;
    SocketTransport m_transport;
    MessageProcessor m_processor;
    LogThrottle m_refusals{lcChannels(),
                           "refused a daemon's address %d time(s), held by a process that is not the daemon"};
};
