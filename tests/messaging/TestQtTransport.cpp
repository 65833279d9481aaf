#include "messaging/BigEndian.h"
#include "messaging/Message.h"
#include "messaging/MessageProcessor.h"
#include "messaging/MessageService.h"
#include "messaging/QtTransport.h"

#include <QSignalSpy>
#include <QtTest>

#include <csignal>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

class RecordingService : public MessageService
{
public:
    int serviceId() const override { return 2; }
    int serviceWord() const override { return 0; }
    void handleMessage(Message* message) override
    {
        bodies.append(QByteArray(reinterpret_cast<const char*>(message->data), message->length));
    }
    QList<QByteArray> bodies;
};

QByteArray frame(const QByteArray& body)
{
    QByteArray header(20, '\0');
    auto* h = reinterpret_cast<unsigned char*>(header.data());
    BigEndian::writeU32(h + 4, 2);
    BigEndian::writeU32(h + 16, quint32(body.size()));
    return header + body;
}

} // namespace

class TestQtTransport : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { std::signal(SIGPIPE, SIG_IGN); }

    void init()
    {
        processor.reset(new MessageProcessor(&transport));
        transport.setProcessor(processor.get());
        processor->registerService(&service);
        service.bodies.clear();
        QCOMPARE(::socketpair(AF_UNIX, SOCK_STREAM, 0, fds), 0);
    }

    void cleanup()
    {
        transport.close();
        if (fds[1] != -1)
            ::close(fds[1]);
        fds[1] = -1;
    }

    void framesArriveWhateverTheChunking()
    {
        transport.attach(fds[0]);
        const QByteArray stream = frame("abcd") + frame(QByteArray(3000, 'x')) + frame("z");
        QCOMPARE(::write(fds[1], stream.constData(), 7), 7);
        QTRY_COMPARE(pendingBytes(fds[0]), 0);
        QCOMPARE(::write(fds[1], stream.constData() + 7, size_t(stream.size() - 7)), stream.size() - 7);
        QTRY_COMPARE(service.bodies.size(), 3);
        QCOMPARE(service.bodies.at(0), QByteArray("abcd"));
        QCOMPARE(service.bodies.at(1), QByteArray(3000, 'x'));
        QCOMPARE(service.bodies.at(2), QByteArray("z"));
    }

    void endOfStreamIsReportedOnceAndClosesTheSocket()
    {
        QSignalSpy eof(&transport, &QtTransport::eof);
        transport.attach(fds[0]);
        ::close(fds[1]);
        fds[1] = -1;
        QVERIFY(eof.wait(2000));
        QCOMPARE(transport.socketDescriptor(), -1);
        transport.dataReceived(fds[0]);
        QCoreApplication::processEvents();
        QCOMPARE(eof.count(), 1);
    }

    void refusedHeaderDropsTheConnection()
    {
        QSignalSpy eof(&transport, &QtTransport::eof);
        transport.attach(fds[0]);
        QByteArray bad(20, '\0');
        bad[16] = char(0x80);
        QCOMPARE(::write(fds[1], bad.constData(), 20), 20);
        QVERIFY(eof.wait(2000));
        QCOMPARE(transport.socketDescriptor(), -1);
        char byte;
        QCOMPARE(::read(fds[1], &byte, 1), 0);

        // A new connection starts from a clean frame boundary.
        int again[2];
        QCOMPARE(::socketpair(AF_UNIX, SOCK_STREAM, 0, again), 0);
        ::close(fds[1]);
        fds[1] = again[1];
        transport.attach(again[0]);
        const QByteArray good = frame("ok");
        QCOMPARE(::write(fds[1], good.constData(), size_t(good.size())), good.size());
        QTRY_COMPARE(service.bodies, QList<QByteArray>{"ok"});
    }

    void messagesQueuedWhileDetachedGoOutAfterAttach()
    {
        const unsigned char body[] = {0, 0, 0, 9};
        QCOMPARE(processor->sendMessage(2, 0, 77, 4, body), 0);
        transport.attach(fds[0]);
        QByteArray received;
        QTRY_VERIFY((received += readAvailable(fds[1])).size() >= 24);
        QCOMPARE(received.size(), 24);
        QCOMPARE(received.mid(12, 4), QByteArray::fromHex("0000004d"));
        QCOMPARE(received.mid(20), QByteArray::fromHex("00000009"));
    }

    void writeToAVanishedPeerIsLost()
    {
        transport.attach(fds[0]);
        ::close(fds[1]);
        fds[1] = -1;
        int status = 0;
        QCOMPARE(transport.write("x", 1, &status), -1L);
        QCOMPARE(status, int(MessageTransport::TransportLost));
    }

    void withoutSocketEveryCallFails()
    {
        int status = 0;
        char buffer[4];
        QCOMPARE(transport.read(buffer, 4, &status), 0L);
        QCOMPARE(status, int(MessageTransport::TransportError));
        QCOMPARE(transport.write(buffer, 4, &status), 0L);
        QCOMPARE(status, int(MessageTransport::TransportError));
    }

private:
    static int pendingBytes(int fd)
    {
        int count = -1;
        ::ioctl(fd, FIONREAD, &count);
        return count;
    }

    static QByteArray readAvailable(int fd)
    {
        char buffer[256];
        const ssize_t n = ::recv(fd, buffer, sizeof buffer, MSG_DONTWAIT);
        return n > 0 ? QByteArray(buffer, int(n)) : QByteArray();
    }

    QtTransport transport;
    std::unique_ptr<MessageProcessor> processor;
    RecordingService service;
    int fds[2] = {-1, -1};
};

QTEST_GUILESS_MAIN(TestQtTransport)
#include "TestQtTransport.moc"
