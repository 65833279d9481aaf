#include "messaging/Message.h"
#include "messaging/MessageProcessor.h"
#include "messaging/MessageService.h"
#include "messaging/MessageTransport.h"
#include "Wire.h"

#include <QtTest>

#include <algorithm>

namespace {

// Takes only as many bytes per write as it is told, and records what went through.
class FakeTransport final : public MessageTransport
{
public:
    long read(void*, long, Status&) override { return 0; }
    long write(const void* buffer, long size, Status& status) override
    {
        status = failure;
        if (failure != Status::Ok)
            return -1;
        const long taken = accepts.isEmpty() ? size : std::min(size, accepts.takeFirst());
        wire.append(static_cast<const char*>(buffer), int(taken));
        return taken;
    }
    void requestWrite() override { ++writeRequests; }

    QList<long> accepts;
    Status failure = Status::Ok;
    QByteArray wire;
    int writeRequests = 0;
};

// Logs every frame it is handed as "id:sequence:body".
class Service final : public MessageService
{
public:
    Service(int id, QStringList& log)
        : m_id(id)
        , m_log(log)
    { }
    int serviceId() const override { return m_id; }
    int serviceWord() const override { return m_id == 3 ? 0x0102 : 0; }
    void handleMessage(const Message& m) override
    {
        m_log << QStringLiteral("%1:%2:%3")
                     .arg(m_id)
                     .arg(m.sequence)
                     .arg(QString::fromLatin1(
                         QByteArray(reinterpret_cast<const char*>(m.data()), m.length).toHex()));
    }

private:
    int m_id;
    QStringList& m_log;
};

} // namespace

class TestMessageProcessor final : public QObject
{
    Q_OBJECT

    FakeTransport m_transport;
    QStringList m_log;
    Service m_two{2, m_log};
    Service m_three{3, m_log};

    void feed(MessageProcessor& processor, const QByteArray& data, int chunk, bool expectTaken = true)
    {
        bool taken = true;
        for (int at = 0; at < data.size(); at += chunk)
            taken
                = processor.receiveData(Wire::bytes(data) + at, int(std::min(chunk, int(data.size()) - at)));
        QCOMPARE(taken, expectTaken);
    }

private slots:
    void init()
    {
        m_transport = FakeTransport();
        m_log.clear();
    }

    void receiving_data()
    {
        QTest::addColumn<QByteArray>("stream");
        QTest::addColumn<QStringList>("delivered");
        QTest::addColumn<bool>("taken");

        const QByteArray two = Wire::frame(2, "ab", 7);
        const QByteArray three = Wire::frame(3, "xyz", 8);
        QTest::newRow("two services") << two + three << QStringList{"2:7:6162", "3:8:78797a"} << true;
        // Reserved, service word and param are not looked at.
        QTest::newRow("any header words")
            << QByteArray::fromHex("ffff ffff 00000002 ffffffff 00000009 00000001 41")
            << QStringList{"2:9:41"} << true;
        QTest::newRow("unknown services are skipped")
            << Wire::frame(0, "a") + Wire::frame(1, "b") + Wire::frame(4, "c") + Wire::frame(-1, "d") + two
            << QStringList{"2:7:6162"} << true;
        // An empty body is handed over once the next bytes arrive.
        QTest::newRow("empty body") << Wire::frame(3, "") + two << QStringList{"3:1:", "2:7:6162"} << true;
        // The largest length is taken; its body would grow only as its bytes came.
        QTest::newRow("length 0x7FFFFFFE taken")
            << two + Wire::words({0, 2, 0, 1, 0x7FFFFFFE}) << QStringList{"2:7:6162"} << true;
        const QByteArray impossible = Wire::words({0, 2, 0, 1, 0x7FFFFFFF});
        QTest::newRow("length 0x7FFFFFFF refused")
            << two + impossible + three << QStringList{"2:7:6162"} << false;
        QTest::newRow("negative length refused")
            << Wire::words({0, 2, 0, 1, 0x80000000}) + two << QStringList() << false;
    }

    void receiving()
    {
        QFETCH(QByteArray, stream);
        QFETCH(QStringList, delivered);
        QFETCH(bool, taken);
        for (const int chunk : {1, 5, 20, 1024}) {
            m_log.clear();
            MessageProcessor processor(&m_transport);
            processor.registerService(&m_two);
            processor.registerService(&m_three);
            feed(processor, stream, chunk, taken);
            QCOMPARE(m_log, delivered);
            if (!taken) {
                // Deaf until reset, then a fresh header is read.
                feed(processor, Wire::frame(3, "x"), 1024, false);
                processor.reset();
                feed(processor, Wire::frame(3, "x"), 1024);
                QCOMPARE(m_log.last(), QStringLiteral("3:1:78"));
            }
        }
    }

    void serviceZero()
    {
        Service zero(0, m_log);
        MessageProcessor processor(&m_transport);
        QCOMPARE(processor.registerService(&zero), 0);
        feed(processor, Wire::frame(0, "z"), 1024);
        QCOMPARE(m_log, QStringList{"0:1:7a"});
    }

    void channelBound()
    {
        MessageProcessor processor(&m_transport, 3);
        processor.registerService(&m_two);
        feed(processor, Wire::frame(2, "abc") + Wire::frame(2, "abcd") + Wire::frame(2, "x"), 1, false);
        QCOMPARE(m_log, QStringList{"2:1:616263"});
    }

    void resetDropsPartialFrame()
    {
        MessageProcessor processor(&m_transport);
        processor.registerService(&m_two);
        feed(processor, Wire::frame(2, "abcdef").left(23), 1024);
        processor.reset();
        feed(processor, Wire::frame(2, "z", 5), 1024);
        QCOMPARE(m_log, QStringList{"2:5:7a"});
    }

    void sendingWritesHeaderAndBody()
    {
        MessageProcessor processor(&m_transport);
        processor.registerService(&m_two);
        processor.registerService(&m_three);
        QVERIFY(processor.sendMessage(2, 0, 5, 2, Wire::bytes("hi")));
        QVERIFY(processor.sendMessage(3, 0, 6, 0, nullptr));
        QVERIFY(!processor.sendMessage(4, 0, 7, 1, Wire::bytes("x")));
        QVERIFY(!processor.sendMessage(2, 0, 7, -1, Wire::bytes("x")));
        QCOMPARE(m_transport.writeRequests, 1);
        // The header takes 7 bytes, then the rest of it; each call writes once.
        m_transport.accepts = {7, 100};
        int calls = 0;
        while (processor.sendPending())
            ++calls;
        QCOMPARE(calls, 3);
        QCOMPARE(m_transport.wire.toHex(),
                 QByteArray("0000000000000002000000000000000500000002"
                            "6869"
                            "0000010200000003000000000000000600000000"));
        QVERIFY(!processor.sendPending());

        // An idle processor asks again for the next frame.
        QVERIFY(processor.sendMessage(3, 0, 8, 1, Wire::bytes("x")));
        QCOMPARE(m_transport.writeRequests, 2);
    }

    // What already waits is recognised, so a daemon that reads slowly is not asked the same
    // thing twice; the frame being written no longer waits.
    void waitingBodyIsRecognised()
    {
        MessageProcessor processor(&m_transport);
        processor.registerService(&m_two);
        processor.registerService(&m_three);
        processor.sendMessage(2, 0, 1, 3, Wire::bytes("abc"));
        processor.sendMessage(2, 0, 2, 0, nullptr);
        const QList<bool> found{
            processor.isQueued(2, 3, Wire::bytes("abc")), processor.isQueued(2, 0, nullptr),
            processor.isQueued(3, 3, Wire::bytes("abc")), processor.isQueued(2, 3, Wire::bytes("abd")),
            processor.isQueued(2, 2, Wire::bytes("ab"))};
        QCOMPARE(found, (QList<bool>{true, true, false, false, false}));
        m_transport.accepts = {1};
        processor.sendPending();
        QVERIFY(!processor.isQueued(2, 3, Wire::bytes("abc")));
        QVERIFY(processor.isQueued(2, 0, nullptr));
    }

    void resetRestartsFrameInProgress()
    {
        MessageProcessor processor(&m_transport);
        processor.registerService(&m_two);
        processor.sendMessage(2, 0, 1, 3, Wire::bytes("abc"));
        processor.sendMessage(2, 0, 2, 1, Wire::bytes("d"));
        m_transport.accepts = {20, 1};
        processor.sendPending();
        processor.sendPending();
        processor.reset();
        m_transport.wire.clear();
        while (processor.sendPending()) { }
        QCOMPARE(Wire::frames(m_transport.wire), (QStringList{"2:1:616263", "2:2:64"}));
    }

    void writeFailureKeepsTheFrame()
    {
        MessageProcessor processor(&m_transport);
        processor.registerService(&m_two);
        processor.sendMessage(2, 0, 1, 1, Wire::bytes("a"));
        m_transport.failure = MessageTransport::Status::Error;
        QVERIFY(processor.sendPending());
        m_transport.failure = MessageTransport::Status::Ok;
        while (processor.sendPending()) { }
        QCOMPARE(Wire::frames(m_transport.wire), QStringList{"2:1:61"});
    }
};

QTEST_GUILESS_MAIN(TestMessageProcessor)
#include "TestMessageProcessor.moc"
