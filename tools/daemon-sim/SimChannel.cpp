#include "SimChannel.h"

#include "messaging/ChannelAddress.h"
#include "messaging/Message.h"
#include <QtEndian>

#include <QSocketNotifier>

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
    , _label(label)
    , _name(name)
    , _serviceId(serviceId)
{ }

SimChannel::~SimChannel()
{
    if (_fd != -1)
        ::close(_fd);
    if (_listenFd != -1)
        ::close(_listenFd);
}

bool SimChannel::listen(QString& error)
{
    if (_listenFd != -1)
        return true;
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    const sockaddr_un address = ChannelAddress::address(_name);
    // The tray connects with the full padded length; a shorter one would be another address.
    if (fd == -1 || ::bind(fd, reinterpret_cast<const sockaddr*>(&address), ChannelAddress::Length) != 0
        || ::listen(fd, 4) != 0) {
        error = QStringLiteral("%1: cannot listen on @%2: %3")
                    .arg(_label, QString::fromUtf8(_name), QString::fromLocal8Bit(std::strerror(errno)));
        if (fd != -1)
            ::close(fd);
        return false;
    }
    _listenFd = fd;
    _listenNotifier = new QSocketNotifier(fd, QSocketNotifier::Read, this);
    connect(_listenNotifier, &QSocketNotifier::activated, this, &SimChannel::acceptClient);
    return true;
}

void SimChannel::stopListening()
{
    drop();
    if (_listenFd == -1)
        return;
    discard(_listenNotifier);
    ::close(_listenFd);
    _listenFd = -1;
}

void SimChannel::drop()
{
    if (_fd != -1)
        closeClient();
}

int SimChannel::send(const QByteArray& body)
{
    if (_fd == -1)
        return 0;
    // Zero is what a header starts with; skipping it keeps 0 free to mean "not sent".
    _sequence = _sequence == INT32_MAX ? 1 : _sequence + 1;
    Message message;
    message.serviceId = _serviceId;
    message.sequence = _sequence;
    message.length = int(body.size());
    unsigned char header[Message::HeaderSize];
    message.writeHeader(header);
    _out.append(reinterpret_cast<const char*>(header), Message::HeaderSize);
    _out.append(body);
    const int sequence = _sequence;
    flush();
    return sequence;
}

bool SimChannel::sendRaw(const QByteArray& bytes)
{
    if (_fd == -1)
        return false;
    _out.append(bytes);
    flush();
    return true;
}

void SimChannel::acceptClient()
{
    const int fd = ::accept4(_listenFd, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (fd == -1)
        return;
    // The real daemons serve one tray; a new one takes over from the old.
    drop();
    _fd = fd;
    _readNotifier = new QSocketNotifier(fd, QSocketNotifier::Read, this);
    connect(_readNotifier, &QSocketNotifier::activated, this, &SimChannel::readClient);
    _writeNotifier = new QSocketNotifier(fd, QSocketNotifier::Write, this);
    _writeNotifier->setEnabled(false);
    connect(_writeNotifier, &QSocketNotifier::activated, this, &SimChannel::flush);
    emit connected();
}

void SimChannel::readClient()
{
    const int fd = _fd;
    char buffer[4096];
    for (;;) {
        const ssize_t n = ::read(fd, buffer, sizeof buffer);
        if (n > 0) {
            _in.append(buffer, int(n));
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
    const int fd = _fd;
    int at = 0;
    while (_fd == fd && _in.size() - at >= Message::HeaderSize) {
        const auto* header = reinterpret_cast<const unsigned char*>(_in.constData()) + at;
        const int32_t length = qFromBigEndian<qint32>(header + 16);
        if (length < 0 || length > MaxFrameBody) {
            emit protocolError(
                QStringLiteral("%1: frame length %2 out of range; client dropped").arg(_label).arg(length));
            closeClient();
            return false;
        }
        if (_in.size() - at - Message::HeaderSize < length)
            break;
        Message message;
        message.readHeader(header);
        message.body.assign(header + Message::HeaderSize, header + Message::HeaderSize + length);
        at += Message::HeaderSize + length;
        emit frameReceived(message);
    }
    // A handler may have dropped this client or taken a new one; its bytes are gone then.
    if (_fd != fd)
        return false;
    _in.remove(0, at);
    return true;
}

void SimChannel::flush()
{
    while (_fd != -1 && !_out.isEmpty()) {
        const ssize_t n = ::send(_fd, _out.constData(), size_t(_out.size()), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (n > 0) {
            _out.remove(0, int(n));
        } else if (n == -1 && errno == EINTR) {
            continue;
        } else if (n == -1 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
            _writeNotifier->setEnabled(true);
            return;
        } else {
            closeClient();
            return;
        }
    }
    if (_writeNotifier)
        _writeNotifier->setEnabled(false);
}

void SimChannel::closeClient()
{
    discard(_readNotifier);
    discard(_writeNotifier);
    ::close(_fd);
    _fd = -1;
    _in.clear();
    _out.clear();
    emit disconnected();
}
