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
    QByteArray bytes(int(values.size()) * 4, Qt::Uninitialized);
    for (int i = 0; i < int(values.size()); ++i)
        qToBigEndian(values.begin()[i], bytes.data() + 4 * i);
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

// "service:sequence:body" per complete frame; "!" in front when header words 0 or 2 are not 0.
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

// A stand-in daemon on a channel's address, collecting what the program writes to it.
class Peer
{
public:
    explicit Peer(Channel channel)
    {
        const sockaddr_un address = ChannelAddress::address(ChannelAddress::name(channel));
        ::bind(m_listener, reinterpret_cast<const sockaddr*>(&address), ChannelAddress::Length);
        ::listen(m_listener, 4);
    }
    ~Peer()
    {
        drop();
        ::close(m_listener);
    }

    // Drops the connection it had, if any, and waits for the next.
    bool accept()
    {
        drop();
        return QTest::qWaitFor([this] {
            return (m_fd = ::accept4(m_listener, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC)) != -1;
        });
    }
    void drop()
    {
        if (m_fd != -1)
            ::close(m_fd);
        m_fd = -1;
        m_received.clear();
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
        static_cast<void>(QTest::qWaitFor([&] { return frames().size() >= count; }));
        return frames();
    }

private:
    int m_listener = ::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    int m_fd = -1;
    QByteArray m_received;
};

} // namespace Wire
