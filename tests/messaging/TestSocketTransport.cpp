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
    void handleMessage(const Message& message) override
    {
        bodies << QByteArray(reinterpret_cast<const char*>(message.data()), message.length);
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

    QSocketNotifier* writeNotifier() const
    {
        for (QSocketNotifier* notifier : m_transport->findChildren<QSocketNotifier*>()) {
            if (notifier->type() == QSocketNotifier::Write)
                return notifier;
        }
        return nullptr;
    }

    QByteArray readPeer() const
    {
        char buffer[64];
        const ssize_t n = ::read(m_peer, buffer, sizeof buffer);
        return n > 0 ? QByteArray(buffer, int(n)) : QByteArray();
    }

private slots:
    void init()
    {
        int fds[2];
        QCOMPARE(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, fds), 0);
        m_transport = new SocketTransport(this);
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
        QByteArray out;
        QTRY_COMPARE(out += readPeer(), Wire::frame(2, "out", 9));
        // With nothing left to send, writability must not wake the program again and again.
        QTRY_VERIFY(!writeNotifier()->isEnabled());
    }

    // The daemons come and go all day: no connection may leave a watcher or a descriptor behind.
    void connectionsLeaveNothingBehind()
    {
        m_transport->close();
        QTRY_COMPARE(int(m_transport->findChildren<QSocketNotifier*>().size()), 0);
        const uint descriptors = QDir(QStringLiteral("/proc/self/fd")).count();
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

    // A peer that takes no byte while frames wait for it is given up; one that reads, however
    // slowly, is not.
    void stalledPeerIsDropped()
    {
        int fds[2];
        QCOMPARE(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, fds), 0);
        SocketTransport transport(nullptr, 300);
        MessageProcessor processor(&transport);
        transport.setProcessor(&processor);
        processor.registerService(&m_service);
        transport.attach(fds[0]);
        QSignalSpy closed(&transport, &SocketTransport::closed);
        const QByteArray body(1 << 20, 'x');
        int read = 0;
        QTimer slowReader;
        connect(&slowReader, &QTimer::timeout, this, [&] {
            char buffer[8 * 1024];
            read += int(std::max<ssize_t>(0, ::read(fds[1], buffer, sizeof buffer)));
        });
        slowReader.start(5);
        processor.sendMessage(2, 0, 1, int(body.size()), Wire::bytes(body));
        QTRY_COMPARE_WITH_TIMEOUT(read, Message::HeaderSize + int(body.size()), 20000);
        // Nothing waits now: the quiet that follows is no stall.
        QVERIFY(!closed.wait(500));

        slowReader.stop();
        processor.sendMessage(2, 0, 2, int(body.size()), Wire::bytes(body));
        QVERIFY(closed.wait());
        QVERIFY(!transport.isAttached());
        ::close(fds[1]);
    }

    void impossibleHeaderCloses()
    {
        QSignalSpy closed(m_transport, &SocketTransport::closed);
        const QByteArray in = Wire::words({0, 2, 0, 1, 0xFFFFFFFF});
        QCOMPARE(::write(m_peer, in.constData(), 20), 20);
        QVERIFY(closed.wait());
        QVERIFY(!m_transport->isAttached());
        // Watchers on the closed socket must not fire until they are gone.
        for (const QSocketNotifier* notifier : m_transport->findChildren<QSocketNotifier*>())
            QVERIFY(!notifier->isEnabled());
    }
};

QTEST_GUILESS_MAIN(TestSocketTransport)
#include "TestSocketTransport.moc"
