#include "messaging/Message.h"
#include "messaging/MessageProcessor.h"
#include "messaging/MessageService.h"
#include "messaging/MessageTransport.h"
#include "Wire.h"

#include <QtTest>

#include <algorithm>
#include <optional>

namespace {

// Takes only as many bytes per write as it is told (-1: the write fails), and records them.
class FakeTransport final : public MessageTransport
{
public:
    long read(void*, long, Status&) override { return 0; }
    long write(const void* buffer, long size, Status& status) override
    {
        const long taken = accepts.isEmpty() ? size : std::min(size, accepts.takeFirst());
        status = taken < 0 ? Status::Error : Status::Ok;
        wire.append(static_cast<const char*>(buffer), int(std::max(0L, taken)));
        return taken;
    }
    void requestWrite() override { ++writeRequests; }

    QList<long> accepts;
    QByteArray wire;
    int writeRequests = 0;
};

// Every frame handed to a service, as "id:sequence:body" (see Wire::frames).
QStringList delivered;

template <int Id> class Service final : public MessageService
{
public:
    int serviceId() const override { return Id; }
    int serviceWord() const override { return Id == 3 ? 0x0102 : 0; }
    void handleMessage(const Message& m) override
    {
        const QByteArray body(reinterpret_cast<const char*>(m.data()), m.length);
        delivered += Wire::frames(Wire::frame(Id, body, m.sequence));
    }
};

} // namespace

class TestMessageProcessor final : public QObject
{
    Q_OBJECT

    FakeTransport m_transport;
    Service<0> m_zero;
    Service<2> m_two;
    Service<3> m_three;
    std::optional<MessageProcessor> m_processor;

    void start(int bound = Message::MaxLength)
    {
        m_transport = FakeTransport();
        delivered.clear();
        m_processor.emplace(&m_transport, bound);
        for (MessageService* service : std::initializer_list<MessageService*>{&m_zero, &m_two, &m_three})
            m_processor->registerService(service);
    }

    void feed(const QByteArray& data, int chunk, bool expectTaken = true)
    {
        bool taken = true;
        for (int at = 0; at < data.size(); at += chunk)
            taken = m_processor->receiveData(Wire::bytes(data) + at, std::min(chunk, int(data.size()) - at));
        QCOMPARE(taken, expectTaken);
    }

private slots:
    void init() { start(); }

    void receiving_data()
    {
        QTest::addColumn<int>("bound");
        QTest::addColumn<QByteArray>("stream");
        QTest::addColumn<QStringList>("frames");
        QTest::addColumn<bool>("taken");

        const int max = 0x7FFFFFFE;
        const QByteArray two = Wire::frame(2, "ab", 7);
        const QByteArray three = Wire::frame(3, "xyz", 8);
        const QByteArray unknown = Wire::frame(1, "b") + Wire::frame(4, "c") + Wire::frame(-1, "d");
        QTest::newRow("services") << max << Wire::frame(0, "z") + unknown + two + Wire::frame(3, "")
                                  << QStringList{"0:1:7a", "2:7:6162", "3:1:"} << true;
        // Reserved, service word and param are not looked at.
        QTest::newRow("any header words")
            << max << QByteArray::fromHex("ffff ffff 00000002 ffffffff 00000009 00000001 41")
            << QStringList{"2:9:41"} << true;
        QTest::newRow("length 0x7FFFFFFE taken")
            << max << two + Wire::words({0, 2, 0, 1, 0x7FFFFFFE}) << QStringList{"2:7:6162"} << true;
        QTest::newRow("length 0x7FFFFFFF refused")
            << max << two + Wire::words({0, 2, 0, 1, 0x7FFFFFFF}) + three << QStringList{"2:7:6162"} << false;
        QTest::newRow("negative length refused")
            << max << Wire::words({0, 2, 0, 1, 0x80000000}) + two << QStringList() << false;
        QTest::newRow("channel bound")
            << 3 << three + Wire::frame(2, "abcd") + two << QStringList{"3:8:78797a"} << false;
    }

    void receiving()
    {
        QFETCH(int, bound);
        QFETCH(QByteArray, stream);
        QFETCH(QStringList, frames);
        QFETCH(bool, taken);
        for (const int chunk : {1, 5, 20, 1024}) {
            start(bound);
            feed(stream, chunk, taken);
            QCOMPARE(delivered, frames);
            if (!taken) {
                // Deaf until reset, then a fresh header is read.
                feed(Wire::frame(3, "x"), 1024, false);
                m_processor->reset();
                feed(Wire::frame(3, "x"), 1024);
                QCOMPARE(delivered.last(), QStringLiteral("3:1:78"));
            }
        }
    }

    void sending()
    {
        QVERIFY(m_processor->sendMessage(2, 0, 5, 2, Wire::bytes("hi")));
        QVERIFY(m_processor->sendMessage(3, 0, 6, 0, nullptr));
        QVERIFY(!m_processor->sendMessage(4, 0, 7, 1, Wire::bytes("x")));
        QVERIFY(!m_processor->sendMessage(2, 0, 7, -1, Wire::bytes("x")));
        QCOMPARE(m_transport.writeRequests, 1);
        // A failed write keeps the frame; then the header goes in 7 bytes and the rest.
        m_transport.accepts = {-1, 7, 100};
        int calls = 0;
        while (m_processor->sendPending())
            ++calls;
        QCOMPARE(calls, 4);
        QCOMPARE(m_transport.wire.toHex(),
                 QByteArray("0000000000000002000000000000000500000002"
                            "6869"
                            "0000010200000003000000000000000600000000"));
        // An idle processor asks again for the next frame.
        QVERIFY(m_processor->sendMessage(3, 0, 8, 1, Wire::bytes("x")));
        QCOMPARE(m_transport.writeRequests, 2);
    }

    // Waiting ends once a frame is being written; reset drops half a frame in, restarts one out.
    void waitingFramesAndReset()
    {
        m_processor->sendMessage(2, 0, 1, 3, Wire::bytes("abc"));
        m_processor->sendMessage(2, 0, 2, 1, Wire::bytes("d"));
        const QList<bool> found{
            m_processor->isQueued(2, 3, Wire::bytes("abc")), m_processor->isQueued(3, 3, Wire::bytes("abc")),
            m_processor->isQueued(2, 3, Wire::bytes("abd")), m_processor->isQueued(2, 2, Wire::bytes("ab"))};
        QCOMPARE(found, (QList<bool>{true, false, false, false}));
        m_transport.accepts = {20, 1};
        m_processor->sendPending();
        m_processor->sendPending();
        QVERIFY(!m_processor->isQueued(2, 3, Wire::bytes("abc")));
        QVERIFY(m_processor->isQueued(2, 1, Wire::bytes("d")));

        feed(Wire::frame(2, "abcdef").left(23), 1024);
        m_processor->reset();
        m_transport.wire.clear();
        feed(Wire::frame(2, "z", 5), 1024);
        QCOMPARE(delivered, QStringList{"2:5:7a"});
        while (m_processor->sendPending()) { }
        QCOMPARE(Wire::frames(m_transport.wire), (QStringList{"2:1:616263", "2:2:64"}));
    }
};

QTEST_GUILESS_MAIN(TestMessageProcessor)
#include "TestMessageProcessor.moc"
