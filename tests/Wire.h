#pragma once

#include "messaging/ChannelAddress.h"

#include <QByteArray>
#include <QList>
#include <QtEndian>
#include <QTest>

#include <sys/socket.h>
#include <unistd.h>

// Frames as the daemons write them: a 20-byte big-endian header, then the body.
namespace Wire {

inline QByteArray words(std::initializer_list<quint32> values)
{
    QByteArray bytes;
    for (const quint32 value : values) {
        char word[4];
        qToBigEndian(value, word);
        bytes.append(word, 4);
    }
    return bytes;
}

// The scan daemon's texts: a count that includes the terminating zero, the bytes, the zero.
inline QByteArray text(const QByteArray& bytes)
{
    return words({quint32(bytes.size() + 1)}) + bytes + '\0';
}

inline QByteArray frame(int serviceId, const QByteArray& body, int sequence = 1)
{
    return words({0, quint32(serviceId), 0, quint32(sequence), quint32(body.size())}) + body;
}

inline const unsigned char* bytes(const QByteArray& data)
{
    return reinterpret_cast<const unsigned char*>(data.constData());
}

// "service:sequence:body" for each complete frame in bytes, to compare with a list; a "!"
// in front when the reserved word, the service word or the parameter is not 0.
inline QStringList frames(const QByteArray& data)
{
    QStringList frames;
    for (int at = 0; data.size() - at >= 20;) {
        const auto* header = bytes(data) + at;
        const int length = qFromBigEndian<qint32>(header + 16);
        if (data.size() - at - 20 < length)
            break;
        const bool clean = qFromBigEndian<quint32>(header) == 0 && qFromBigEndian<quint32>(header + 8) == 0;
        frames << QStringLiteral("%1%2:%3:%4")
                      .arg(clean ? "" : "!")
                      .arg(qFromBigEndian<qint32>(header + 4))
                      .arg(qFromBigEndian<qint32>(header + 12))
                      .arg(QString::fromLatin1(data.mid(at + 20, length).toHex()));
        at += 20 + length;
    }
    return frames;
}

// A stand-in daemon on a channel's abstract address: accepts the program's connection,
// collects what it writes and writes back.
class Peer
{
public:
    explicit Peer(Channel channel, socklen_t addressLength = ChannelAddress::Length)
    {
        m_listener = ::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
        const sockaddr_un address = ChannelAddress::address(ChannelAddress::name(channel));
        ::bind(m_listener, reinterpret_cast<const sockaddr*>(&address), addressLength);
        ::listen(m_listener, 4);
    }
    ~Peer()
    {
        drop();
        ::close(m_listener);
    }

    bool accept(int timeoutMs = 3000)
    {
        return QTest::qWaitFor(
            [this] {
                const int fd = ::accept4(m_listener, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
                if (fd != -1) {
                    drop();
                    m_fd = fd;
                }
                return fd != -1;
            },
            timeoutMs);
    }
    void drop()
    {
        if (m_fd != -1)
            ::close(m_fd);
        m_fd = -1;
        m_received.clear();
    }
    void send(const QByteArray& data)
    {
        QCOMPARE(::write(m_fd, data.constData(), size_t(data.size())), data.size());
    }
    QStringList frames()
    {
        char buffer[4096];
        ssize_t n;
        while (m_fd != -1 && (n = ::read(m_fd, buffer, sizeof buffer)) > 0)
            m_received.append(buffer, int(n));
        return Wire::frames(m_received);
    }
    // Waits until the program wrote count frames on this connection, and returns them.
    QStringList waitForFrames(int count)
    {
        static_cast<void>(QTest::qWaitFor([&] { return frames().size() >= count; }, 3000));
        return frames();
    }
    void forget()
    {
        frames();
        m_received.clear();
    }

private:
    int m_listener = -1;
    int m_fd = -1;
    QByteArray m_received;
};

} // namespace Wire
