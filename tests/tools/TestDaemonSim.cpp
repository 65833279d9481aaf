#include "messaging/BigEndian.h"
#include "messaging/ChannelAddress.h"

#include <QElapsedTimer>
#include <QProcess>
#include <QTemporaryFile>
#include <QtTest>

#include <cerrno>
#include <memory>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

QByteArray words(std::initializer_list<quint32> values)
{
    QByteArray bytes;
    for (quint32 value : values) {
        unsigned char word[4];
        BigEndian::writeU32(word, value);
        bytes.append(reinterpret_cast<const char*>(word), 4);
    }
    return bytes;
}

QByteArray frame(qint32 serviceId, const QByteArray& body, qint32 sequence)
{
    QByteArray header(20, '\0');
    auto* h = reinterpret_cast<unsigned char*>(header.data());
    BigEndian::writeU32(h + 4, quint32(serviceId));
    BigEndian::writeU32(h + 12, quint32(sequence));
    BigEndian::writeU32(h + 16, quint32(body.size()));
    return header + body;
}

// The tray's end of one channel, reading frame by frame with a deadline.
class TrayEnd
{
public:
    ~TrayEnd()
    {
        if (_fd != -1)
            ::close(_fd);
    }

    bool connectTo(const QByteArray& name)
    {
        _fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const sockaddr_un address = ChannelAddress::address(name);
        return ::connect(_fd, reinterpret_cast<const sockaddr*>(&address), ChannelAddress::Length) == 0;
    }

    bool send(const QByteArray& bytes)
    {
        return ::send(_fd, bytes.constData(), size_t(bytes.size()), MSG_NOSIGNAL) == bytes.size();
    }

    // The next frame's header and body; an empty header when none came in time or the stream ended.
    bool readFrame(QByteArray& header, QByteArray& body)
    {
        header.clear();
        if (!readExactly(header, 20))
            return false;
        const qint32 length
            = BigEndian::readI32(reinterpret_cast<const unsigned char*>(header.constData()) + 16);
        return length >= 0 && readExactly(body, length);
    }
    QByteArray readBody()
    {
        QByteArray header;
        QByteArray body;
        return readFrame(header, body) ? body : QByteArray();
    }

    // True once the simulator closed its end.
    bool closedByPeer()
    {
        pollfd entry{_fd, POLLIN, 0};
        char byte;
        return ::poll(&entry, 1, 3000) == 1 && ::recv(_fd, &byte, 1, 0) == 0;
    }

private:
    bool readExactly(QByteArray& out, int count)
    {
        out.clear();
        while (out.size() < count) {
            pollfd entry{_fd, POLLIN, 0};
            if (::poll(&entry, 1, 3000) != 1)
                return false;
            char buffer[4096];
            const ssize_t n
                = ::recv(_fd, buffer, size_t(std::min<int>(count - out.size(), sizeof buffer)), 0);
            if (n <= 0)
                return false;
            out.append(buffer, int(n));
        }
        return true;
    }

    int _fd = -1;
};

} // namespace

class TestDaemonSim : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        // A name of its own, so neither real daemons nor a parallel run get in the way.
        static int run = 0;
        _suffix = QStringLiteral(".simtest%1-%2").arg(QCoreApplication::applicationPid()).arg(++run).toUtf8();
    }

    void cleanup()
    {
        if (_sim && _sim->state() != QProcess::NotRunning) {
            _sim->kill();
            _sim->waitForFinished();
        }
        _sim.reset();
    }

    void answersStatusRequest()
    {
        QVERIFY(startSim());
        TrayEnd kvs;
        QVERIFY(kvs.connectTo(kvsName()));
        QCOMPARE(nextLine(), QStringLiteral("kvs: connected"));
        QVERIFY(kvs.send(frame(2, words({1, 2}) + QByteArray("C\0", 2), 7)));
        QByteArray header;
        QByteArray body;
        QVERIFY(kvs.readFrame(header, body));
        const auto* h = reinterpret_cast<const unsigned char*>(header.constData());
        QCOMPARE(BigEndian::readU32(h), 0u);
        QCOMPARE(BigEndian::readI32(h + 4), 2);
        QCOMPARE(BigEndian::readI32(h + 8), 0);
        QCOMPARE(body, words({2, 1, 1, 1, 1}));
        QCOMPARE(nextLine(), QStringLiteral("kvs <- seq=7 KvsStatusRequest locale=\"C\""));
    }

    void answersVersionsAndScanStatus()
    {
        QVERIFY(startSim());
        TrayEnd kvs;
        QVERIFY(kvs.connectTo(kvsName()));
        QVERIFY(kvs.send(frame(2, words({4}), 1) + frame(2, words({6}), 2)));
        const QByteArray expected = words({5, 6}) + QByteArray("8.2.0\0", 6) + words({6})
            + QByteArray("5.1.3\0", 6) + words({6}) + QByteArray("12.44\0", 6) + words({14, 3, 2026, 7});
        QCOMPARE(kvs.readBody(), expected);
        QCOMPARE(kvs.readBody(), words({7, 4}));
    }

    void answersManagementRequests()
    {
        QVERIFY(startSim());
        TrayEnd pdx;
        QVERIFY(pdx.connectTo(pdxName()));
        QVERIFY(pdx.send(frame(3, words({23}), 1) + frame(3, words({25}), 2) + frame(3, words({27}), 3)
                         + frame(3, words({31}), 4)));
        QCOMPARE(pdx.readBody(), words({24, 1, 8}) + QByteArray("PN-0042\0", 8));
        QCOMPARE(pdx.readBody(), words({26, 1, 11}) + QByteArray("Engineering"));
        QCOMPARE(pdx.readBody(), words({28, 1, 11}) + QByteArray("Head office"));
        const QByteArray server = pdx.readBody();
        QCOMPARE(server.left(12), words({32, 1, 1}));
        QCOMPARE(server.mid(16), words({8}) + QByteArray("10.0.0.1"));
    }

    void logsReportsOnlyRequests()
    {
        QVERIFY(startSim());
        TrayEnd pdx;
        QVERIFY(pdx.connectTo(pdxName()));
        QCOMPARE(nextLine(), QStringLiteral("pdx: connected"));
        QVERIFY(pdx.send(frame(3, words({45, 1}), 3) + frame(3, words({99}), 4) + frame(2, words({25}), 5)));
        QCOMPARE(nextLine(), QStringLiteral("pdx <- seq=3 PdxUpdateResult result=1"));
        QCOMPARE(nextLine(), QStringLiteral("pdx <- seq=4 id=99 len=4"));
        QCOMPARE(nextLine(), QStringLiteral("pdx <- seq=5 PdxGroupRequest service=2"));
    }

    void pushesChangedState()
    {
        QVERIFY(startSim());
        TrayEnd kvs;
        TrayEnd pdx;
        QVERIFY(kvs.connectTo(kvsName()));
        QVERIFY(pdx.connectTo(pdxName()));
        QCOMPARE(nextLine(), QStringLiteral("kvs: connected"));
        QCOMPARE(nextLine(), QStringLiteral("pdx: connected"));
        command("vg 2");
        QCOMPARE(kvs.readBody(), words({2, 2, 1, 1, 1}));
        command("server online 10.1.2.3 1300000000");
        QCOMPARE(pdx.readBody(), words({32, 1, 1, 1300000000, 8}) + QByteArray("10.1.2.3"));
        QCOMPARE(pdx.readBody(), words({34, 1, 1, 1300000000, 8}) + QByteArray("10.1.2.3"));
        command("policy-none");
        QCOMPARE(pdx.readBody(), words({24, 0, 0}));
        command("location \"Branch  office\"");
        QCOMPARE(pdx.readBody(), words({28, 1, 14}) + QByteArray("Branch  office"));
    }

    void sendsAlert()
    {
        QVERIFY(startSim());
        TrayEnd kvs;
        QVERIFY(kvs.connectTo(kvsName()));
        QCOMPARE(nextLine(), QStringLiteral("kvs: connected"));
        command("alert 1700000000 \"Threat ~N in ~F\\r\\n\" N=Test-File \"F=/tmp/a b.com\"");
        QByteArray expected = words({3, 1700000000});
        for (const QByteArray& field : {QByteArray(), QByteArray(), QByteArray(), QByteArray(), QByteArray(),
                                        QByteArray(), QByteArray("Test-File"), QByteArray(),
                                        QByteArray("/tmp/a b.com"), QByteArray("Threat ~N in ~F\\r\\n")})
            expected += words({quint32(field.size() + 1)}) + field + QByteArray(1, '\0');
        QCOMPARE(kvs.readBody(), expected);
    }

    void dropsBrokenFraming()
    {
        QVERIFY(startSim());
        TrayEnd kvs;
        QVERIFY(kvs.connectTo(kvsName()));
        QCOMPARE(nextLine(), QStringLiteral("kvs: connected"));
        QVERIFY(kvs.send(QByteArray(16, '\0') + words({0xFFFFFFF0})));
        QVERIFY(kvs.closedByPeer());
        QCOMPARE(nextLine(), QStringLiteral("kvs: disconnected"));
    }

    void scriptWaitsForTheTray()
    {
        QTemporaryFile script;
        QVERIFY(script.open());
        script.write("# waits, then changes the scanner state and ends\n"
                     "wait-connected kvs\n"
                     "sleep 100\n"
                     "running 0\n"
                     "quit\n");
        script.close();
        QVERIFY(startSim({QStringLiteral("--no-stdin"), QStringLiteral("--script"), script.fileName()}));
        TrayEnd kvs;
        QVERIFY(kvs.connectTo(kvsName()));
        QVERIFY(kvs.send(frame(2, words({1, 0}), 1)));
        // Requests are served while the script sleeps.
        QCOMPARE(kvs.readBody(), words({2, 1, 1, 1, 1}));
        QCOMPARE(kvs.readBody(), words({2, 1, 0, 1, 1}));
        QVERIFY(_sim->waitForFinished(3000));
        QCOMPARE(_sim->exitStatus(), QProcess::NormalExit);
        QCOMPARE(_sim->exitCode(), 0);
    }

    void reportsBadCommands()
    {
        QVERIFY(startSim());
        command("vg");
        command("frobnicate");
        command("status");
        QCOMPARE(nextLine(),
                 QStringLiteral("# kvs: @%1 listening, no client").arg(QString::fromUtf8(kvsName())));
        _sim->closeWriteChannel();
        QVERIFY(_sim->waitForFinished(3000));
        QCOMPARE(_sim->exitCode(), 0);
        const QList<QByteArray> errors = _sim->readAllStandardError().split('\n');
        QVERIFY(errors.value(0).startsWith("error: usage: vg N"));
        QCOMPARE(errors.value(1), QByteArray("error: unknown command \"frobnicate\" (see --help)"));
    }

private:
    QByteArray kvsName() const { return "Calvorin-trayIPC" + _suffix; }
    QByteArray pdxName() const { return "Calvorin-PdxIPC" + _suffix; }

    // True once both channels listen.
    bool startSim(const QStringList& extra = {})
    {
        _sim = std::make_unique<QProcess>();
        _sim->start(QStringLiteral(DAEMON_SIM_PATH),
                    QStringList{QStringLiteral("--suffix"), QString::fromUtf8(_suffix)} + extra);
        return _sim->waitForStarted()
            && nextLine() == QStringLiteral("kvs: listening on @%1").arg(QString::fromUtf8(kvsName()))
            && nextLine() == QStringLiteral("pdx: listening on @%1").arg(QString::fromUtf8(pdxName()));
    }

    QString nextLine()
    {
        QElapsedTimer timer;
        timer.start();
        while (!_sim->canReadLine() && timer.elapsed() < 3000)
            _sim->waitForReadyRead(100);
        return QString::fromUtf8(_sim->readLine()).trimmed();
    }

    void command(const char* line)
    {
        _sim->write(QByteArray(line) + '\n');
        _sim->waitForBytesWritten(1000);
    }

    QByteArray _suffix;
    std::unique_ptr<QProcess> _sim;
};

QTEST_GUILESS_MAIN(TestDaemonSim)
#include "TestDaemonSim.moc"
