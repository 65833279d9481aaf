#pragma once

#include "messaging/BigEndian.h"
#include "messaging/ChannelAddress.h"

#include <QByteArray>
#include <QList>
#include <QTest>

#include <cerrno>
#include <sys/socket.h>
#include <unistd.h>

// A stand-in daemon for tests: listens on a channel's abstract address (full length),
// accepts the tray's connection and collects what it writes, frame by frame.
class DaemonPeer
{
public:
    struct Frame
    {
        quint32 reserved;
        quint32 serviceWord;
        qint32 serviceId;
        qint32 param;
        qint32 sequence;
        QByteArray body;
        quint32 messageId() const { return body.size() >= 4 ? BigEndian::readU32(bytes(body)) : 0; }
    };

    explicit DaemonPeer(int channel, socklen_t addressLength = ChannelAddress::Length)
        : _name(ChannelAddress::name(channel))
        , _addressLength(addressLength)
    {
        listen();
    }
    ~DaemonPeer()
    {
        dropConnection();
        stopListening();
    }

    bool listen()
    {
        _listenFd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
        const sockaddr_un address = ChannelAddress::address(_name);
        if (::bind(_listenFd, reinterpret_cast<const sockaddr*>(&address), _addressLength) != 0
            || ::listen(_listenFd, 4) != 0) {
            stopListening();
            return false;
        }
        return true;
    }
    void stopListening()
    {
        if (_listenFd != -1)
            ::close(_listenFd);
        _listenFd = -1;
    }

    // Waits for the tray to connect, replacing any earlier connection.
    bool waitForConnection(int timeoutMs = 3000)
    {
        return QTest::qWaitFor(
            [this] {
                const int fd = ::accept4(_listenFd, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
                if (fd == -1)
                    return false;
                dropConnection();
                _fd = fd;
                return true;
            },
            timeoutMs);
    }
    bool connected() const { return _fd != -1; }
    void dropConnection()
    {
        if (_fd != -1)
            ::close(_fd);
        _fd = -1;
        _received.clear();
    }

    // Forgets what arrived so far, keeping the connection.
    void clearReceived()
    {
        received();
        _received.clear();
    }

    void send(const QByteArray& bytes)
    {
        QVERIFY(::write(_fd, bytes.constData(), size_t(bytes.size())) == bytes.size());
    }

    // Everything the tray wrote on this connection so far.
    const QByteArray& received()
    {
        char buffer[4096];
        ssize_t n;
        while (_fd != -1 && (n = ::read(_fd, buffer, sizeof buffer)) > 0)
            _received.append(buffer, int(n));
        return _received;
    }
    bool waitForBytes(int count, int timeoutMs = 3000)
    {
        return QTest::qWaitFor([&] { return received().size() >= count; }, timeoutMs);
    }
    // True once the tray closed its end.
    bool peerClosed()
    {
        char byte;
        return _fd != -1 && ::recv(_fd, &byte, 1, MSG_PEEK | MSG_DONTWAIT) == 0;
    }

    QList<Frame> frames()
    {
        QList<Frame> frames;
        const QByteArray& data = received();
        int at = 0;
        while (data.size() - at >= 20) {
            const unsigned char* h = bytes(data) + at;
            const int length = BigEndian::readI32(h + 16);
            if (length < 0 || data.size() - at - 20 < length)
                break;
            frames.append({quint32(h[0] << 8 | h[1]), quint32(h[2] << 8 | h[3]), BigEndian::readI32(h + 4),
                           BigEndian::readI32(h + 8), BigEndian::readI32(h + 12), data.mid(at + 20, length)});
            at += 20 + length;
        }
        return frames;
    }
    bool waitForFrames(int count, int timeoutMs = 3000)
    {
        return QTest::qWaitFor([&] { return frames().size() >= count; }, timeoutMs);
    }

    static QByteArray frame(qint32 serviceId, const QByteArray& body, qint32 sequence = 1)
    {
        QByteArray bytes(20, '\0');
        auto* h = reinterpret_cast<unsigned char*>(bytes.data());
        BigEndian::writeU32(h + 4, quint32(serviceId));
        BigEndian::writeU32(h + 12, quint32(sequence));
        BigEndian::writeU32(h + 16, quint32(body.size()));
        return bytes + body;
    }
    static QByteArray words(std::initializer_list<quint32> values)
    {
        QByteArray bytes;
        for (quint32 value : values) {
            unsigned char word[4];
            BigEndian::writeU32(word, value);
            bytes.append(reinterpret_cast<const char*>(word), 4);
        }
        return bytes;
    }

private:
    static const unsigned char* bytes(const QByteArray& data)
    {
        return reinterpret_cast<const unsigned char*>(data.constData());
    }

    QByteArray _name;
    socklen_t _addressLength;
    int _listenFd = -1;
    int _fd = -1;
    QByteArray _received;
};
