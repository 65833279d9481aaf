#include "messaging/Message.h"
#include "messaging/MessageProcessor.h"
#include "messaging/MessageService.h"
#include "messaging/SocketTransport.h"
#include "Wire.h"

#include <QDir>
#include <QSignalSpy>
#include <QSocketNotifier>
#include <QTimer>
#include <QtTest>

#include <sys/socket.h>
#include <unistd.h>

namespace {

class Counter final : public MessageService
{
public:
    int serviceId() const override { return 2; }
    void handleMessage(const Message& m) override
    {
        bodies << QByteArray(reinterpret_cast<const char*>(m.data()), m.length);
    }
    QList<QByteArray> bodies;
};

} // namespace

class TestSocketTransport final : public QObject
{
    Q_OBJECT

    SocketTransport* m_transport = nullptr;
    MessageProcessor* m_processor = nullptr;
    Counter m_service;
    int m_peer = -1;

    // "read" or "write" for each watcher of the transport that is enabled.
    QStringList enabledWatchers() const
    {
        QStringList types;
        for (const QSocketNotifier* notifier : m_transport->findChildren<QSocketNotifier*>()) {
            if (notifier->isEnabled())
                types << (notifier->type() == QSocketNotifier::Read ? "read" : "write");
        }
        return types;
    }

private slots:
    void init()
    {
        int fds[2];
        QCOMPARE(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, fds), 0);
        m_transport = new SocketTransport(this, 300); // a stall timeout short enough to wait for
        m_processor = new MessageProcessor(m_transport);
        m_transport->setProcessor(m_processor);
        m_processor->registerService(&m_service);
        m_transport->attach(fds[0]);
        m_peer = fds[1];
        m_service.bodies.clear();
    }

    void cleanup()
    {
        delete m_processor;
        delete m_transport;
        ::close(m_peer);
    }

    void framesArriveAndGoOut()
    {
        const QByteArray in = Wire::frame(2, "one") + Wire::frame(2, "two");
        QCOMPARE(::write(m_peer, in.constData(), size_t(in.size())), in.size());
        QTRY_COMPARE(m_service.bodies, (QList<QByteArray>{"one", "two"}));

        m_processor->sendMessage(2, 0, 9, 3, Wire::bytes("out"));
        QByteArray out(64, '\0');
        QTRY_COMPARE(::recv(m_peer, out.data(), 64, MSG_PEEK), ssize_t(23));
        QCOMPARE(out.left(23), Wire::frame(2, "out", 9));
        // With nothing left to send, writability must not wake the program again and again.
        QTRY_COMPARE(enabledWatchers(), QStringList{"read"});
    }

    // The daemons come and go all day: no connection may leave a watcher or a descriptor behind.
    void connectionsLeaveNothingBehind()
    {
        // Less the one of init()'s connection, which the first attach ends.
        const uint descriptors = QDir(QStringLiteral("/proc/self/fd")).count() - 1;
        QSignalSpy closed(m_transport, &SocketTransport::closed);
        for (int round = 0; round < 50; ++round) {
            int fds[2];
            QCOMPARE(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, fds), 0);
            m_transport->attach(fds[0]);
            ::close(fds[1]);
            // Half the time the daemon hangs up, half the time the program lets go.
            if (round % 2)
                QVERIFY(closed.wait());
            else
                m_transport->close();
        }
        QTRY_COMPARE(int(m_transport->findChildren<QSocketNotifier*>().size()), 0);
        QCOMPARE(QDir(QStringLiteral("/proc/self/fd")).count(), descriptors);
    }

    // A peer that reads slowly is not given up; one that takes no byte while frames wait is.
    void stallsAndRefusedHeaders()
    {
        QSignalSpy closed(m_transport, &SocketTransport::closed);
        const QByteArray body(1 << 20, 'x');
        int read = 0;
        QTimer slowReader;
        connect(&slowReader, &QTimer::timeout, this, [&] {
            char buffer[8 * 1024];
            read += int(std::max<ssize_t>(0, ::read(m_peer, buffer, sizeof buffer)));
        });
        slowReader.start(5);
        m_processor->sendMessage(2, 0, 1, int(body.size()), Wire::bytes(body));
        QTRY_COMPARE_WITH_TIMEOUT(read, 20 + (1 << 20), 20000);
        // Nothing waits now: the quiet that follows is no stall.
        QVERIFY(!closed.wait(500));

        // A header that makes no sense ends the connection, and its stall timer with it.
        m_processor->sendMessage(2, 0, 2, int(body.size()), Wire::bytes(body));
        QTRY_VERIFY(read > 20 + (1 << 20));
        QTest::ignoreMessage(QtWarningMsg,
                             "refused 1 frame header(s) with an impossible length; reconnected");
        const QByteArray in = Wire::words({0, 2, 0, 1, 0xFFFFFFFF});
        QCOMPARE(::write(m_peer, in.constData(), 20), 20);
        QVERIFY(closed.wait());
        // Watchers on the closed socket must not fire until they are gone.
        QCOMPARE(enabledWatchers(), QStringList());
        QVERIFY(!closed.wait(600));

        // The frame waits for the next connection, which takes none of it.
        int fds[2];
        QCOMPARE(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, fds), 0);
        m_transport->attach(fds[0]);
        QVERIFY(closed.wait());
        QVERIFY(!m_transport->isAttached());
        ::close(fds[1]);
    }
};

QTEST_GUILESS_MAIN(TestSocketTransport)
#include "TestSocketTransport.moc"
