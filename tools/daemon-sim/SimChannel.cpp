#include "SimChannel.h"

#include "messaging/ChannelAddress.h"
#include "messaging/Message.h"

#include <QSocketNotifier>
#include <QtEndian>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <memory>
#include <sys/socket.h>
#include <unistd.h>

namespace {

// The tray never sends more than a locale name; anything longer is a broken header.
constexpr int MaxFrameBody = 1 << 20;

// Notifiers are dropped from inside their own activation, so they go on the next turn.
void discard(QSocketNotifier*& notifier)
{
    if (!notifier)
        return;
    notifier->setEnabled(false);
    notifier->deleteLater();
    notifier = nullptr;
}

} // namespace

SimChannel::SimChannel(const QString& label, const QByteArray& name, int serviceId, QObject* parent)
    : QObject(parent)
    , m_label(label)
    , m_name(name)
    , m_serviceId(serviceId)
{ }

SimChannel::~SimChannel()
{
    if (m_fd != -1)
        ::close(m_fd);
    if (m_listenFd != -1)
        ::close(m_listenFd);
}

bool SimChannel::listen(QString& error)
{
    if (m_listenFd != -1)
        return true;
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    const sockaddr_un address = ChannelAddress::address(m_name);
    // The tray connects with the full padded length; a shorter one would be another address.
    if (fd == -1 || ::bind(fd, reinterpret_cast<const sockaddr*>(&address), ChannelAddress::Length) != 0
        || ::listen(fd, 4) != 0) {
        error = QStringLiteral("%1: cannot listen on @%2: %3")
                    .arg(m_label, QString::fromUtf8(m_name), QString::fromLocal8Bit(std::strerror(errno)));
        if (fd != -1)
            ::close(fd);
        return false;
    }
    m_listenFd = fd;
    m_listenNotifier = new QSocketNotifier(fd, QSocketNotifier::Read, this);
    connect(m_listenNotifier, &QSocketNotifier::activated, this, &SimChannel::acceptClient);
    emit listening();
    return true;
}

void SimChannel::stopListening()
{
    drop();
    if (m_listenFd == -1)
        return;
    discard(m_listenNotifier);
    ::close(m_listenFd);
    m_listenFd = -1;
    emit stoppedListening();
}

void SimChannel::drop()
{
    if (m_fd != -1)
        closeClient();
}

int SimChannel::send(const QByteArray& body)
{
    if (m_fd == -1)
        return 0;
    // Zero is what a header starts with; skipping it keeps 0 free to mean "not sent".
    m_sequence = m_sequence == INT32_MAX ? 1 : m_sequence + 1;
    Message message;
    message.serviceId = m_serviceId;
    message.sequence = m_sequence;
    message.length = int(body.size());
    unsigned char header[Message::HeaderSize];
    message.writeHeader(header);
    m_out.append(reinterpret_cast<const char*>(header), Message::HeaderSize);
    m_out.append(body);
    const int sequence = m_sequence;
    flush();
    return sequence;
}

bool SimChannel::sendRaw(const QByteArray& bytes)
{
    if (m_fd == -1)
        return false;
    m_out.append(bytes);
    flush();
    return true;
}

void SimChannel::acceptClient()
{
    const int fd = ::accept4(m_listenFd, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (fd == -1)
        return;
    // The real daemons serve one tray; a new one takes over from the old.
    drop();
    m_fd = fd;
    m_readNotifier = new QSocketNotifier(fd, QSocketNotifier::Read, this);
    connect(m_readNotifier, &QSocketNotifier::activated, this, &SimChannel::readClient);
    m_writeNotifier = new QSocketNotifier(fd, QSocketNotifier::Write, this);
    m_writeNotifier->setEnabled(false);
    connect(m_writeNotifier, &QSocketNotifier::activated, this, &SimChannel::flush);
    emit connected();
}

void SimChannel::readClient()
{
    const int fd = m_fd;
    char buffer[4096];
    for (;;) {
        const ssize_t n = ::read(fd, buffer, sizeof buffer);
        if (n > 0) {
            m_in.append(buffer, int(n));
            continue;
        }
        if (n == -1 && errno == EINTR)
            continue;
        if (n == -1 && (errno == EAGAIN || errno == EWOULDBLOCK))
            break;
        // End of stream or a reset: deliver what arrived complete, then let go.
        if (deliverFrames())
            closeClient();
        return;
    }
    deliverFrames();
}

bool SimChannel::deliverFrames()
{
    const int fd = m_fd;
    int at = 0;
    while (m_fd == fd && m_in.size() - at >= Message::HeaderSize) {
        const auto* header = reinterpret_cast<const unsigned char*>(m_in.constData()) + at;
        const int32_t length = qFromBigEndian<qint32>(header + 16);
        if (length < 0 || length > MaxFrameBody) {
            emit protocolError(
                QStringLiteral("%1: frame length %2 out of range; client dropped").arg(m_label).arg(length));
            closeClient();
            return false;
        }
        if (m_in.size() - at - Message::HeaderSize < length)
            break;
        Message message;
        message.readHeader(header);
        message.body.assign(header + Message::HeaderSize, header + Message::HeaderSize + length);
        at += Message::HeaderSize + length;
        emit frameReceived(message);
    }
    // A handler may have dropped this client or taken a new one; its bytes are gone then.
    if (m_fd != fd)
        return false;
    m_in.remove(0, at);
    return true;
}

void SimChannel::flush()
{
    while (m_fd != -1 && !m_out.isEmpty()) {
        const ssize_t n = ::send(m_fd, m_out.constData(), size_t(m_out.size()), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (n > 0) {
            m_out.remove(0, int(n));
        } else if (n == -1 && errno == EINTR) {
            continue;
        } else if (n == -1 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
            m_writeNotifier->setEnabled(true);
            return;
        } else {
            closeClient();
            return;
        }
    }
    if (m_writeNotifier)
        m_writeNotifier->setEnabled(false);
}

void SimChannel::closeClient()
{
    discard(m_readNotifier);
    discard(m_writeNotifier);
    ::close(m_fd);
    m_fd = -1;
    m_in.clear();
    m_out.clear();
    emit disconnected();
}
