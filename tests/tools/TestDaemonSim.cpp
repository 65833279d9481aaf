#include "messaging/ChannelAddress.h"

#include <QProcess>
#include <QtEndian>
#include <QtTest>

#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

namespace {

// A frame as the tray writes it: zero words, the service, zero, the sequence and the body length.
QByteArray frame(quint32 service, quint32 sequence, std::initializer_list<quint32> bodyWords,
                 const QByteArray& bodyTail = {})
{
    QByteArray bytes(20 + 4 * int(bodyWords.size()), '\0');
    auto* at = reinterpret_cast<uchar*>(bytes.data());
    qToBigEndian<quint32>(service, at + 4);
    qToBigEndian<quint32>(sequence, at + 12);
    qToBigEndian<quint32>(quint32(4 * bodyWords.size() + bodyTail.size()), at + 16);
    for (quint32 word : bodyWords)
        qToBigEndian<quint32>(word, (at += 4) + 16);
    return bytes + bodyTail;
}

const timeval Patience{3, 0};

// The tray's end of one channel; reads give up after three seconds of silence.
class TrayEnd
{
public:
    TrayEnd() { ::setsockopt(m_fd, SOL_SOCKET, SO_RCVTIMEO, &Patience, sizeof Patience); }
    ~TrayEnd() { ::close(m_fd); }

    bool connectTo(const QByteArray& name)
    {
        const sockaddr_un address = ChannelAddress::address(name);
        return ::connect(m_fd, reinterpret_cast<const sockaddr*>(&address), ChannelAddress::Length) == 0;
    }

    bool send(const QByteArray& bytes)
    {
        return ::send(m_fd, bytes.constData(), size_t(bytes.size()), MSG_NOSIGNAL) == bytes.size();
    }

    // Up to count bytes; fewer when the simulator falls silent or hangs up.
    QByteArray read(int count)
    {
        QByteArray bytes(count, '\0');
        const ssize_t n = ::recv(m_fd, bytes.data(), size_t(count), MSG_WAITALL);
        return bytes.left(int(qMax<ssize_t>(n, 0)));
    }

    // True once the simulator closed its end, as opposed to staying silent.
    bool closedByPeer()
    {
        char byte;
        return ::recv(m_fd, &byte, 1, 0) == 0;
    }

private:
    int m_fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
};

} // namespace

class TestDaemonSim final : public QObject
{
    Q_OBJECT

private slots:
    // Socket names of its own, so neither real daemons nor a parallel run get in the way.
    void init()
    {
        static int run = 0;
        m_suffix = QStringLiteral(".simtest%1-%2").arg(::getpid()).arg(++run).toUtf8();
        m_sim.start(QStringLiteral(DAEMON_SIM_PATH), {"--suffix", QString::fromUtf8(m_suffix)});
        QVERIFY(m_sim.waitForStarted());
        QCOMPARE(nextLine(), "kvs: listening on @" + kvsName());
        QCOMPARE(nextLine(), QStringLiteral("pdx: listening on @Calvorin-PdxIPC") + m_suffix);
    }

    void cleanup()
    {
        m_sim.kill();
        m_sim.waitForFinished();
    }

    // Requests are answered and logged decoded, unknown ones by id and length; changes are pushed.
    void servesTheClient()
    {
        TrayEnd kvs;
        QVERIFY(connectKvs(kvs));
        QVERIFY(kvs.send(frame(2, 7, {1, 2}, QByteArray("C\0", 2)) + frame(2, 8, {99})));
        const QByteArray status = frame(2, 1, {2, 1, 1, 1, 1});
        QCOMPARE(kvs.read(status.size()), status);
        QCOMPARE(nextLine(), QStringLiteral("kvs <- seq=7 KvsStatusRequest locale=\"C\""));
        QCOMPARE(nextLine(), QStringLiteral("kvs <- seq=8 id=99 len=4"));
        command("vg 2");
        const QByteArray pushed = frame(2, 2, {2, 2, 1, 1, 1});
        QCOMPARE(kvs.read(pushed.size()), pushed);
    }

    void endsConnectionsOnCommandAndOnBadFrames()
    {
        TrayEnd first;
        QVERIFY(connectKvs(first));
        command("drop kvs");
        QVERIFY(first.closedByPeer());
        QCOMPARE(nextLine(), QStringLiteral("kvs: disconnected"));
        command("stop kvs");
        QCOMPARE(nextLine(), QStringLiteral("kvs: stopped listening"));
        QVERIFY(!TrayEnd().connectTo(kvsName()));
        command("listen kvs");
        QCOMPARE(nextLine(), "kvs: listening on @" + kvsName());

        // A length no frame can have means the stream is out of step; only a new connection helps.
        for (const quint32 length : {0xFFFFFFF0u, 2u << 20}) {
            TrayEnd client;
            QVERIFY(connectKvs(client));
            QByteArray header(20, '\0');
            qToBigEndian<quint32>(length, header.data() + 16);
            QVERIFY(client.send(header));
            QVERIFY(client.closedByPeer());
            QCOMPARE(nextLine(), QStringLiteral("kvs: disconnected"));
        }
    }

private:
    QByteArray kvsName() const { return "Calvorin-trayIPC" + m_suffix; }

    bool connectKvs(TrayEnd& kvs)
    {
        return kvs.connectTo(kvsName()) && nextLine() == QLatin1String("kvs: connected");
    }

    QString nextLine()
    {
        for (int tries = 0; tries < 30 && !m_sim.canReadLine(); ++tries)
            m_sim.waitForReadyRead(100);
        return QString::fromUtf8(m_sim.readLine()).trimmed();
    }

    void command(const char* line)
    {
        m_sim.write(QByteArray(line) + '\n');
        m_sim.waitForBytesWritten(1000);
    }

    QByteArray m_suffix;
    QProcess m_sim;
};

QTEST_GUILESS_MAIN(TestDaemonSim)
#include "TestDaemonSim.moc"
