#include "messaging/Message.h"
#include "messaging/MessageProcessor.h"
#include "messaging/MessageService.h"
#include "messaging/MessageTransport.h"

#include <QDataStream>
#include <QStringList>
#include <QtTest>

#include <algorithm>
#include <climits>
#include <list>

namespace {

const unsigned char* bytes(const QByteArray& array)
{
    return reinterpret_cast<const unsigned char*>(array.constData());
}

// Collects what the peer would see, taking only as many bytes per write as it is told.
class FakeTransport : public MessageTransport
{
public:
    // The processor only ever writes.
    long read(void*, long, int*) override { return 0; }
    long write(const void* buffer, long size, int* status) override
    {
        *status = failStatus;
        if (failStatus != TransportOk)
            return -1;
        const long taken = accepts.isEmpty() ? size : std::min(size, accepts.takeFirst());
        wire.append(static_cast<const char*>(buffer), int(taken));
        return taken;
    }

    void requestWrite() override { ++writeRequests; }

    // Byte counts taken by the next writes; once empty every write takes all.
    QList<long> accepts;
    int failStatus = TransportOk;
    QByteArray wire;
    int writeRequests = 0;
    // What every service was told, in order.
    QStringList events;
};

QString got(int service, int sequence, const QByteArray& body, int param = 0)
{
    return QString::asprintf("%d got seq %d param %d body ", service, sequence, param) + body.toHex();
}

// Where the wire stood when the frame was reported sent.
QString sent(int service, int sequence, int wireBytes)
{
    return QString::asprintf("%d sent seq %d at byte %d", service, sequence, wireBytes);
}

// Logs under its own id, so a frame handed to the wrong service shows.
class Service : public MessageService
{
public:
    Service(int id, FakeTransport& log)
        : _id(id)
        , _log(log)
    { }

    int serviceId() const override { return _id; }
    int serviceWord() const override { return 0xABCD; }
    void handleMessage(Message* m) override
    {
        _log.events << got(_id, m->sequence, QByteArray(reinterpret_cast<char*>(m->data), m->length),
                           m->param);
    }
    void messageSent(Message* m) override { _log.events << sent(_id, m->sequence, int(_log.wire.size())); }
    void connectionLost() override { _log.events << QString::asprintf("%d lost", _id); }

private:
    int _id;
    FakeTransport& _log;
};

QByteArray frame(int serviceId, int sequence, const QByteArray& body, int param = 0)
{
    QByteArray header;
    QDataStream(&header, QIODevice::WriteOnly)
        << 0xABCD << serviceId << param << sequence << int(body.size());
    return header + body;
}

// A processor over a fake transport with the given services registered.
struct Rig : FakeTransport
{
    explicit Rig(std::initializer_list<int> ids)
    {
        for (const int id : ids)
            processor.registerService(&services.emplace_back(id, *this));
    }

    int send(int id, int sequence, const QByteArray& body)
    {
        return processor.sendMessage(id, 0, sequence, int(body.size()), bytes(body));
    }

    // Feeds the stream in pieces of chunk bytes; false if any piece was not taken in full.
    bool feed(const QByteArray& stream, int chunk = INT_MAX)
    {
        bool taken = true;
        for (int at = 0; at < stream.size(); at += chunk)
            taken &= processor.receiveData(bytes(stream) + at, std::min(chunk, int(stream.size()) - at)) == 1;
        return taken;
    }

    // Pumps as the transport would until nothing is left; false if it never stops.
    bool drain()
    {
        int calls = 0;
        while (processor.sendPending() && ++calls < 1000) { }
        return calls < 1000;
    }

    MessageProcessor processor{this};
    std::list<Service> services;
};

} // namespace

class TestMessageProcessor : public QObject
{
    Q_OBJECT

private slots:
    void queuedFramesGoOutInOrder()
    {
        Rig rig({1, 3});
        QByteArray body("xyz");
        QCOMPARE(rig.processor.sendMessage(3, 0x01020304, -2, int(body.size()), bytes(body)), 0);
        // The body was copied: the caller's buffer may change at once.
        body.fill('!');
        QCOMPARE(rig.send(1, 5, QByteArray()), 0);
        QCOMPARE(rig.writeRequests, 1);

        QVERIFY(rig.drain());
        QCOMPARE(rig.wire.toHex(),
                 QByteArray("0000abcd0000000301020304fffffffe00000003"
                            "78797a"
                            "0000abcd00000001000000000000000500000000"));
        QCOMPARE(rig.events, (QStringList{sent(3, -2, 23), sent(1, 5, 43)}));

        // Idle again, so the next frame must ask for the pump again.
        QCOMPARE(rig.send(1, 6, "a"), 0);
        QCOMPARE(rig.writeRequests, 2);
    }

    void receivedFrames_data()
    {
        QTest::addColumn<int>("chunk");

        QTest::newRow("byte by byte") << 1;
        QTest::newRow("one chunk") << INT_MAX;
    }

    void receivedFrames()
    {
        QFETCH(int, chunk);

        Rig rig({2, 5});
        const QByteArray large = QByteArray("0123456789abcdefghijklmnopqrstu").repeated(10);
        // Skipped bodies hold what would pass for frames if they were parsed as headers; 3 is a gap
        // between registered ids, 6 lies just past the last.
        const QByteArray decoy = frame(2, 99, "decoy");
        const QByteArray stream = frame(3, 90, decoy) + frame(2, 10, "hello", -9)
            + frame(6, 91, large + decoy) + frame(5, 11, QByteArray(), 4) + frame(5, 12, large, INT_MIN)
            + frame(2, 13, "x");

        QVERIFY(rig.feed(stream, chunk));
        // Byte by byte, the frame without a body is handed over once the next frame's first byte arrives.
        const QStringList expected{got(2, 10, "hello", -9), got(5, 11, QByteArray(), 4),
                                   got(5, 12, large, INT_MIN), got(2, 13, "x")};
        QCOMPARE(rig.events, expected);
    }

    void resetRestartsReceiving_data()
    {
        QTest::addColumn<QByteArray>("tail");
        QTest::addColumn<bool>("refused");

        const QByteArray header = frame(2, 0, QByteArray()).left(16);
        const QByteArray behind = frame(2, 2, "behind");
        QTest::newRow("length 0x7FFFFFFF") << header + QByteArray::fromHex("7fffffff") + behind << true;
        QTest::newRow("length 0x80000000") << header + QByteArray::fromHex("80000000") + behind << true;
        QTest::newRow("cut mid-body") << frame(2, 2, "abandoned body").left(25) << false;
    }

    void resetRestartsReceiving()
    {
        QFETCH(QByteArray, tail);
        QFETCH(bool, refused);

        Rig rig({2});
        const QByteArray good = frame(2, 1, "ok");
        QCOMPARE(rig.feed(good + tail), !refused);
        // A refused header is refused again on every later call.
        if (refused)
            QVERIFY(!rig.feed(good));
        QCOMPARE(rig.events, QStringList{got(2, 1, "ok")});

        rig.processor.reset();
        QVERIFY(rig.feed(frame(2, 3, "after")));
        QCOMPARE(rig.events, (QStringList{got(2, 1, "ok"), got(2, 3, "after")}));
    }

    void partialWriteResumesAndResetStartsOver()
    {
        Rig rig({2, 3});
        // 7 header bytes, then nothing, then the rest of the header, then 2 body bytes.
        rig.accepts = {7, 0, 13, 2};
        QCOMPARE(rig.send(2, 1, "0123456789"), 0);
        QCOMPARE(rig.send(3, 2, "bb"), 0);
        for (int call = 0; call < 4; ++call)
            QVERIFY(rig.processor.sendPending());
        const QByteArray first = frame(2, 1, "0123456789");
        QCOMPARE(rig.wire.toHex(), first.left(22).toHex());

        // Reset mid-body: the frame goes out again from its first header byte, the others behind it.
        rig.processor.reset();
        QCOMPARE(rig.send(2, 3, QByteArray()), 0);
        QVERIFY(rig.drain());
        QCOMPARE(rig.wire.toHex(),
                 (first.left(22) + first + frame(3, 2, "bb") + frame(2, 3, QByteArray())).toHex());
        QCOMPARE(rig.events, (QStringList{sent(2, 1, 52), sent(3, 2, 74), sent(2, 3, 94)}));
    }

    void writeFailure_data()
    {
        QTest::addColumn<int>("status");
        QTest::addColumn<QStringList>("lost");

        QTest::newRow("lost") << int(MessageTransport::TransportLost)
                              << QStringList{"1 lost", "2 lost", "4 lost"};
        QTest::newRow("error") << int(MessageTransport::TransportError) << QStringList();
        QTest::newRow("eof") << int(MessageTransport::TransportEof) << QStringList();
    }

    void writeFailure()
    {
        QFETCH(int, status);
        QFETCH(QStringList, lost);

        Rig rig({4, 1, 2});
        rig.accepts = {7};
        QCOMPARE(rig.send(1, 1, "first"), 0);
        QVERIFY(rig.processor.sendPending());
        rig.failStatus = status;
        // Only a lost connection stops the pump; any other failure leaves the frame for the next try.
        QCOMPARE(rig.processor.sendPending(), lost.isEmpty());
        QCOMPARE(rig.events, lost);
        // The stalled frame keeps the processor busy: queuing more must not restart the pump.
        QCOMPARE(rig.send(4, 2, "second"), 0);
        QCOMPARE(rig.writeRequests, 1);

        rig.failStatus = MessageTransport::TransportOk;
        // Once the lost channel is reset, the stalled frame starts over behind the 7 bytes already out.
        const int resent = lost.isEmpty() ? 0 : 7;
        if (resent > 0)
            rig.processor.reset();
        QVERIFY(rig.drain());
        const QByteArray first = frame(1, 1, "first");
        QCOMPARE(rig.wire.toHex(), (first.left(resent) + first + frame(4, 2, "second")).toHex());
        QCOMPARE(rig.events, (lost + QStringList{sent(1, 1, resent + 25), sent(4, 2, resent + 51)}));
    }

    void refusedCallsChangeNothing()
    {
        Rig rig({2, 4});
        Service negative(-1, rig);
        Service sparse(37, rig);
        QCOMPARE(rig.processor.registerService(nullptr), -1);
        QCOMPARE(rig.processor.registerService(&negative), -1);
        QCOMPARE(rig.processor.registerService(&sparse), 37);

        // 3 is a gap between registered ids, 38 lies just past the last; the body is never read.
        const unsigned char body[1] = {'x'};
        const int refused[][2] = {{3, 1}, {38, 1}, {2, -1}, {2, INT_MAX}};
        for (const auto& [id, length] : refused)
            QCOMPARE(rig.processor.sendMessage(id, 0, 1, length, body), -1);
        QCOMPARE(rig.writeRequests, 0);

        // Still idle: the next good frame asks for the pump and goes out alone.
        QCOMPARE(rig.send(4, 2, "ok"), 0);
        QCOMPARE(rig.writeRequests, 1);
        QVERIFY(rig.drain());
        QCOMPARE(rig.wire.toHex(), frame(4, 2, "ok").toHex());
    }
};

QTEST_GUILESS_MAIN(TestMessageProcessor)
#include "TestMessageProcessor.moc"
