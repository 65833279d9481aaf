#include "DaemonChannel.h"

#include "MessageService.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

// A connected socket, or -1 when the daemon is not there.
int connectSocket(Channel channel)
{
    // Non-blocking only for the connect, so a daemon that stopped accepting cannot stall us;
    // close-on-exec so the update tool does not hold the channel open.
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (fd == -1) {
        const int error = errno;
        qCWarning(lcChannels, "Unable to create socket: %d (%s)", error, std::strerror(error));
        return -1;
    }
    const sockaddr_un address = ChannelAddress::address(ChannelAddress::name(channel));
    // A Unix socket connects at once or not at all (EAGAIN when the daemon's backlog is full):
    // either way the next attempt comes with the retry.
    if (::connect(fd, reinterpret_cast<const sockaddr*>(&address), ChannelAddress::Length) == -1) {
        ::close(fd);
        return -1;
    }
    ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) & ~O_NONBLOCK);
    return fd;
}

} // namespace

DaemonChannel::DaemonChannel(Channel channel, MessageService* service, QObject* parent)
    : QObject(parent)
    , m_channel(channel)
    , m_serviceId(service->serviceId())
    , m_believesUser(!qgetenv("WARDLET_SOCKET_SUFFIX").isEmpty())
    , m_processor(&m_transport, maxBodyLength(channel))
{
    m_transport.setProcessor(&m_processor);
    m_processor.registerService(service);
    connect(&m_transport, &SocketTransport::closed, this, [this] {
        qCInfo(lcChannels, "lost the connection to %s", ChannelAddress::name(m_channel).constData());
        emit lost();
    });
}

bool DaemonChannel::connectToDaemon()
{
    if (isUp())
        return true;
    const int fd = connectSocket(m_channel);
    if (fd == -1) {
        setHeldByStranger(false);
        return false;
    }
    // Abstract names carry no permissions: whoever binds the name while the daemon is away
    // could play it, a sandboxed program of the user's own as much as another user.
    ucred peer = {};
    socklen_t size = sizeof peer;
    if (::getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0
        || (peer.uid != 0 && !(m_believesUser && peer.uid == ::getuid()))) {
        m_refusals.record(1,
                          ChannelAddress::name(m_channel) + " belongs to user " + QByteArray::number(peer.uid)
                              + " (process " + QByteArray::number(peer.pid) + ")");
        ::close(fd);
        setHeldByStranger(true);
        return false;
    }
    setHeldByStranger(false);
    m_transport.attach(fd);
    qCInfo(lcChannels, "connected to %s", ChannelAddress::name(m_channel).constData());
    return true;
}

void DaemonChannel::setHeldByStranger(bool held)
{
    if (held == m_heldByStranger)
        return;
    m_heldByStranger = held;
    emit heldByStrangerChanged(held);
}

bool DaemonChannel::isQueued(const QByteArray& body) const
{
    return m_processor.isQueued(m_serviceId, int(body.size()),
                                reinterpret_cast<const unsigned char*>(body.constData()));
}

void DaemonChannel::send(int sequence, const QByteArray& body)
{
    m_processor.sendMessage(m_serviceId, 0, sequence, int(body.size()),
                            reinterpret_cast<const unsigned char*>(body.constData()));
}
