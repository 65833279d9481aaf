#include "messaging/BigEndian.h"
#include "messaging/Message.h"
#include "messaging/MessageProcessor.h"
#include "messaging/MessageService.h"
#include "messaging/MessageTransport.h"

#include <QStringList>
#include <QtTest>

#include <algorithm>
#include <climits>
#include <deque>

namespace {

// Collects what the peer would see, and takes only as many bytes per write as it is told.
class FakeTransport : public MessageTransport
{
public:
    long read(void*, long, int* status) override
    {
        *status = TransportOk;
        return 0;
    }

    long write(const void* buffer, long size, int* status) override
    {
        writeSizes.append(size);
        if (failStatus != TransportOk) {
            *status = failStatus;
            return -1;
        }
        *status = TransportOk;
        long taken = size;
        if (!accepts.empty()) {
            taken = std::min(size, accepts.front());
            accepts.pop_front();
        }
        wire.append(static_cast<const char*>(buffer), int(taken));
        return taken;
    }

    void requestWrite() override { ++writeRequests; }

    // Byte counts taken by the next writes, front first; once empty every write takes all.
    std::deque<long> accepts;
    int failStatus = TransportOk;
    QByteArray wire;
    QList<long> writeSizes;
    int writeRequests = 0;
};

// What every service saw, in the order the processor told them.
struct ServiceLog
{
    explicit ServiceLog(const FakeTransport& transport)
        : transport(transport)
    { }

    const FakeTransport& transport;
    QStringList delivered;
    QStringList sent;
    QList<int> lost;
};

QString delivery(int serviceId, int sequence, int param, const QByteArray& body)
{
    return QStringLiteral("%1 seq %2 param %3 body %4")
        .arg(serviceId)
        .arg(sequence)
        .arg(param)
        .arg(QString::fromLatin1(body.toHex()));
}

// Where the wire stood when the frame was reported sent.
QString sentAt(int serviceId, int sequence, int wireBytes)
{
    return QStringLiteral("%1 seq %2 at byte %3").arg(serviceId).arg(sequence).arg(wireBytes);
}

class RecordingService : public MessageService
{
public:
    RecordingService(int id, ServiceLog& log, int word = 0)
        : _id(id)
        , _word(word)
        , _log(log)
    { }

    int serviceId() const override { return _id; }
    int serviceWord() const override { return _word; }

    void handleMessage(Message* message) override
    {
        _log.delivered.append(
            delivery(message->serviceId, message->sequence, message->param,
                     QByteArray(reinterpret_cast<const char*>(message->data), message->length)));
    }

    void messageSent(Message* message) override
    {
        _log.sent.append(sentAt(message->serviceId, message->sequence, int(_log.transport.wire.size())));
    }

    void connectionLost() override { _log.lost.append(_id); }

private:
    int _id;
    int _word;
    ServiceLog& _log;
};

QByteArray frame(int serviceId, int sequence, const QByteArray& body, int param = 0, int word = 0)
{
    QByteArray header(20, '\0');
    auto* h = reinterpret_cast<unsigned char*>(header.data());
    BigEndian::writeU16(h + 2, uint32_t(word));
    BigEndian::writeU32(h + 4, uint32_t(serviceId));
    BigEndian::writeU32(h + 8, uint32_t(param));
    BigEndian::writeU32(h + 12, uint32_t(sequence));
    BigEndian::writeU32(h + 16, uint32_t(body.size()));
    return header + body;
}

QByteArray headerWithLength(int serviceId, quint32 length)
{
    QByteArray header = frame(serviceId, 0, QByteArray());
    BigEndian::writeU32(reinterpret_cast<unsigned char*>(header.data()) + 16, length);
    return header;
}

const unsigned char* bytes(const QByteArray& array)
{
    return reinterpret_cast<const unsigned char*>(array.constData());
}

int send(MessageProcessor& processor, int serviceId, int sequence, const QByteArray& body, int param = 0)
{
    return processor.sendMessage(serviceId, param, sequence, int(body.size()), bytes(body));
}

// Feeds the stream in pieces of chunk bytes; false if any piece was not taken in full.
bool feed(MessageProcessor& processor, const QByteArray& stream, int chunk)
{
    bool allTaken = true;
    for (int at = 0; at < stream.size(); at += chunk) {
        const int count = std::min(chunk, int(stream.size()) - at);
        allTaken = processor.receiveData(bytes(stream) + at, count) == 1 && allTaken;
    }
    return allTaken;
}

// Drives the processor as the transport would until it has nothing left; false if it never stops.
bool drain(MessageProcessor& processor)
{
    for (int call = 0; call < 100000; ++call) {
        if (!processor.sendPending())
            return true;
    }
    return false;
}

} // namespace

class TestMessageProcessor : public QObject
{
    Q_OBJECT

private slots:
    void registerServiceReturnsId_data()
    {
        QTest::addColumn<bool>("null");
        QTest::addColumn<int>("id");
        QTest::addColumn<int>("result");

        QTest::newRow("null") << true << 0 << -1;
        QTest::newRow("negative") << false << -1 << -1;
        QTest::newRow("most negative") << false << INT_MIN << -1;
        QTest::newRow("zero") << false << 0 << 0;
        QTest::newRow("sparse") << false << 37 << 37;
    }

    void registerServiceReturnsId()
    {
        QFETCH(bool, null);
        QFETCH(int, id);
        QFETCH(int, result);

        FakeTransport transport;
        MessageProcessor processor(&transport);
        ServiceLog log(transport);
        RecordingService service(id, log);
        QCOMPARE(processor.registerService(null ? nullptr : &service), result);

        // Only a registered service can send or receive.
        const bool registered = result >= 0;
        QCOMPARE(send(processor, id, 1, "x"), registered ? 0 : -1);
        QVERIFY(feed(processor, frame(id, 2, "y"), 64));
        QCOMPARE(log.delivered.size(), registered ? 1 : 0);
    }

    void secondServiceWithSameIdReplacesFirst()
    {
        FakeTransport transport;
        MessageProcessor processor(&transport);
        ServiceLog firstLog(transport);
        ServiceLog secondLog(transport);
        RecordingService first(3, firstLog, 0x0101);
        RecordingService second(3, secondLog, 0x0202);
        QCOMPARE(processor.registerService(&first), 3);
        QCOMPARE(processor.registerService(&second), 3);

        QVERIFY(feed(processor, frame(3, 7, "in"), 64));
        QCOMPARE(send(processor, 3, 8, "out"), 0);
        QVERIFY(drain(processor));

        QCOMPARE(firstLog.delivered, QStringList());
        QCOMPARE(firstLog.sent, QStringList());
        QCOMPARE(secondLog.delivered, QStringList{delivery(3, 7, 0, "in")});
        QCOMPARE(transport.wire.toHex(), frame(3, 8, "out", 0, 0x0202).toHex());
    }

    void queuedFrameWireBytes_data()
    {
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QByteArray>("wire");
        QTest::addColumn<QList<long>>("writeSizes");

        const QByteArray header = QByteArray::fromHex("0000 abcd 00000003 01020304 fffffffe");
        QTest::newRow("with body") << QByteArray("xyz") << header + QByteArray::fromHex("00000003 78797a")
                                   << QList<long>{20, 3};
        // No empty write for a frame without a body.
        QTest::newRow("empty body") << QByteArray() << header + QByteArray::fromHex("00000000")
                                    << QList<long>{20};
    }

    void queuedFrameWireBytes()
    {
        QFETCH(QByteArray, body);
        QFETCH(QByteArray, wire);
        QFETCH(QList<long>, writeSizes);

        FakeTransport transport;
        MessageProcessor processor(&transport);
        ServiceLog log(transport);
        RecordingService service(3, log, 0xABCD);
        processor.registerService(&service);

        QByteArray source = body;
        QCOMPARE(processor.sendMessage(3, 0x01020304, -2, int(source.size()), bytes(source)), 0);
        // The body was copied: the caller's buffer may change at once.
        source.fill('!');
        QCOMPARE(transport.writeRequests, 1);
        QCOMPARE(transport.wire, QByteArray());

        for (int piece = 1; piece < writeSizes.size(); ++piece)
            QVERIFY(processor.sendPending());
        QVERIFY(!processor.sendPending());
        QCOMPARE(transport.wire.toHex(), wire.toHex());
        QCOMPARE(transport.writeSizes, writeSizes);
        QCOMPARE(log.sent, QStringList{sentAt(3, -2, int(wire.size()))});
    }

    void sameDeliveriesForAnyChunking_data()
    {
        QTest::addColumn<int>("chunk");

        for (const int chunk : {1, 2, 7, 19, 20, 21, 1024, 4096})
            QTest::addRow("%d-byte pieces", chunk) << chunk;
    }

    void sameDeliveriesForAnyChunking()
    {
        QFETCH(int, chunk);

        FakeTransport transport;
        MessageProcessor processor(&transport);
        ServiceLog log(transport);
        RecordingService two(2, log);
        RecordingService five(5, log);
        processor.registerService(&two);
        processor.registerService(&five);

        QByteArray large(1000, '\0');
        for (int i = 0; i < large.size(); ++i)
            large[i] = char(i * 7);
        const QByteArray stream = frame(2, 10, "hello", -9) + frame(5, 11, QByteArray(), 4)
            + frame(2, 12, large) + frame(5, 13, "x", INT_MIN);

        QVERIFY(feed(processor, stream, chunk));
        const QStringList expected{delivery(2, 10, -9, "hello"), delivery(5, 11, 4, QByteArray()),
                                   delivery(2, 12, 0, large), delivery(5, 13, INT_MIN, "x")};
        QCOMPARE(log.delivered, expected);
    }

    void unknownServiceIdsAreSkipped_data()
    {
        QTest::addColumn<int>("chunk");

        QTest::newRow("one chunk") << 4096;
        QTest::newRow("byte by byte") << 1;
    }

    void unknownServiceIdsAreSkipped()
    {
        QFETCH(int, chunk);

        FakeTransport transport;
        MessageProcessor processor(&transport);
        ServiceLog log(transport);
        RecordingService two(2, log);
        RecordingService four(4, log);
        processor.registerService(&two);
        processor.registerService(&four);

        // Skipped bodies hold what would pass for frames if they were parsed as headers.
        const QByteArray decoy = frame(2, 99, "decoy");
        const QByteArray stream = frame(0, 90, decoy) + frame(2, 1, "a") + frame(1, 91, decoy)
            + frame(3, 92, QByteArray()) + frame(4, 2, "b") + frame(9, 93, QByteArray(300, 'z') + decoy)
            + frame(-1, 94, decoy) + frame(2, 3, "c");

        QVERIFY(feed(processor, stream, chunk));
        const QStringList expected{delivery(2, 1, 0, "a"), delivery(4, 2, 0, "b"), delivery(2, 3, 0, "c")};
        QCOMPARE(log.delivered, expected);
    }

    // The processor completes a frame with no body only once it sees bytes after its header.
    void zeroLengthFrameDeliveredWithNextBytes()
    {
        FakeTransport transport;
        MessageProcessor processor(&transport);
        ServiceLog log(transport);
        RecordingService service(2, log);
        processor.registerService(&service);

        QVERIFY(feed(processor, frame(2, 1, QByteArray()), 20));
        QCOMPARE(log.delivered, QStringList());

        const QByteArray next = frame(2, 2, "ab") + frame(2, 3, QByteArray()) + frame(2, 4, "c");
        QVERIFY(feed(processor, next.left(1), 1));
        QCOMPARE(log.delivered, QStringList{delivery(2, 1, 0, QByteArray())});

        // Within one chunk the empty frame goes out before the frame behind it.
        QVERIFY(feed(processor, next.mid(1), 4096));
        const QStringList expected{delivery(2, 1, 0, QByteArray()), delivery(2, 2, 0, "ab"),
                                   delivery(2, 3, 0, QByteArray()), delivery(2, 4, 0, "c")};
        QCOMPARE(log.delivered, expected);
    }

    void refusedHeaderStaysRefusedUntilReset_data()
    {
        QTest::addColumn<quint32>("length");
        QTest::addColumn<int>("chunk");

        for (const quint32 length : {0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
            QTest::addRow("length %x in one chunk", length) << length << 4096;
            QTest::addRow("length %x byte by byte", length) << length << 1;
        }
    }

    void refusedHeaderStaysRefusedUntilReset()
    {
        QFETCH(quint32, length);
        QFETCH(int, chunk);

        FakeTransport transport;
        MessageProcessor processor(&transport);
        ServiceLog log(transport);
        RecordingService service(2, log);
        processor.registerService(&service);

        const QByteArray good = frame(2, 1, "ok");
        const QByteArray stream = good + headerWithLength(2, length) + frame(2, 2, "behind");

        // The refusal comes with the header's last byte, and sticks for every later piece.
        int firstRefused = -1;
        for (int at = 0; at < stream.size(); at += chunk) {
            const int count = std::min(chunk, int(stream.size()) - at);
            const int result = processor.receiveData(bytes(stream) + at, count);
            if (firstRefused >= 0)
                QCOMPARE(result, 0);
            else if (result == 0)
                firstRefused = at;
        }
        QCOMPARE(firstRefused, chunk == 1 ? int(good.size()) + 19 : 0);
        QCOMPARE(processor.receiveData(bytes(good), int(good.size())), 0);
        QCOMPARE(processor.receiveData(bytes(good), int(good.size())), 0);
        QCOMPARE(log.delivered, QStringList{delivery(2, 1, 0, "ok")});

        processor.reset();
        const QByteArray after = frame(2, 3, "after");
        QCOMPARE(processor.receiveData(bytes(after), int(after.size())), 1);
        QCOMPARE(log.delivered, (QStringList{delivery(2, 1, 0, "ok"), delivery(2, 3, 0, "after")}));
    }

    void resetDropsPartlyReceivedFrame_data()
    {
        QTest::addColumn<int>("receivedBeforeReset");

        QTest::newRow("inside header") << 7;
        QTest::newRow("whole header") << 20;
        QTest::newRow("inside body") << 25;
    }

    void resetDropsPartlyReceivedFrame()
    {
        QFETCH(int, receivedBeforeReset);

        FakeTransport transport;
        MessageProcessor processor(&transport);
        ServiceLog log(transport);
        RecordingService service(2, log);
        processor.registerService(&service);

        const QByteArray abandoned = frame(2, 1, "abandoned body");
        QVERIFY(feed(processor, abandoned.left(receivedBeforeReset), 4096));
        processor.reset();
        QVERIFY(feed(processor, frame(2, 2, "fresh") + frame(2, 3, "next"), 4096));
        QCOMPARE(log.delivered, (QStringList{delivery(2, 2, 0, "fresh"), delivery(2, 3, 0, "next")}));
    }

    void partialWriteResumesWhereItStopped_data()
    {
        QTest::addColumn<QList<long>>("accepts");
        QTest::addColumn<QList<long>>("writeSizes");

        QTest::newRow("7 header bytes") << QList<long>{7} << QList<long>{20, 13, 4};
        QTest::newRow("2 body bytes") << QList<long>{20, 2} << QList<long>{20, 4, 2};
        QTest::newRow("nothing taken") << QList<long>{0, 0} << QList<long>{20, 20, 20, 4};
        QList<long> single;
        QList<long> sizes;
        for (long left = 20; left > 0; --left)
            sizes.append(left);
        for (long left = 4; left > 0; --left)
            sizes.append(left);
        for (int piece = 0; piece < 24; ++piece)
            single.append(1);
        QTest::newRow("byte by byte") << single << sizes;
    }

    void partialWriteResumesWhereItStopped()
    {
        QFETCH(QList<long>, accepts);
        QFETCH(QList<long>, writeSizes);

        FakeTransport transport;
        transport.accepts.assign(accepts.begin(), accepts.end());
        MessageProcessor processor(&transport);
        ServiceLog log(transport);
        RecordingService service(2, log);
        processor.registerService(&service);

        const QByteArray expected = frame(2, 5, "body");
        QCOMPARE(send(processor, 2, 5, "body"), 0);

        // One write per call, each starting right after the bytes already taken.
        for (int call = 0; call < writeSizes.size(); ++call) {
            const bool more = processor.sendPending();
            QCOMPARE(more, call + 1 < writeSizes.size());
            QCOMPARE(transport.writeSizes.size(), call + 1);
            QCOMPARE(transport.wire.toHex(), expected.left(transport.wire.size()).toHex());
        }
        QCOMPARE(transport.writeSizes, writeSizes);
        QCOMPARE(transport.wire.toHex(), expected.toHex());
        QCOMPARE(log.sent, QStringList{sentAt(2, 5, int(expected.size()))});
    }

    void resetResendsPartlyWrittenFrameFromStart_data()
    {
        QTest::addColumn<QList<long>>("accepts");

        QTest::newRow("inside header") << QList<long>{7};
        QTest::newRow("after header") << QList<long>{20};
        QTest::newRow("inside body") << QList<long>{20, 4};
    }

    void resetResendsPartlyWrittenFrameFromStart()
    {
        QFETCH(QList<long>, accepts);

        FakeTransport transport;
        transport.accepts.assign(accepts.begin(), accepts.end());
        MessageProcessor processor(&transport);
        ServiceLog log(transport);
        RecordingService two(2, log);
        RecordingService three(3, log);
        processor.registerService(&two);
        processor.registerService(&three);

        QCOMPARE(send(processor, 2, 1, "0123456789"), 0);
        QCOMPARE(send(processor, 3, 2, "bb"), 0);
        for (int piece = 0; piece < accepts.size(); ++piece)
            QVERIFY(processor.sendPending());

        processor.reset();
        transport.wire.clear();
        QCOMPARE(send(processor, 2, 3, QByteArray()), 0);
        QVERIFY(drain(processor));

        const QByteArray first = frame(2, 1, "0123456789");
        const QByteArray second = frame(3, 2, "bb");
        const QByteArray third = frame(2, 3, QByteArray());
        QCOMPARE(transport.wire.toHex(), (first + second + third).toHex());
        const QStringList sent{sentAt(2, 1, int(first.size())),
                               sentAt(3, 2, int(first.size() + second.size())),
                               sentAt(2, 3, int(first.size() + second.size() + third.size()))};
        QCOMPARE(log.sent, sent);
    }

    void requestWriteOnlyWhenIdle()
    {
        FakeTransport transport;
        MessageProcessor processor(&transport);
        ServiceLog log(transport);
        RecordingService service(2, log);
        processor.registerService(&service);

        QCOMPARE(send(processor, 2, 1, "a"), 0);
        QCOMPARE(send(processor, 2, 2, "b"), 0);
        QCOMPARE(transport.writeRequests, 1);

        // Mid-frame and with frames queued the transport is already pumping.
        QVERIFY(processor.sendPending());
        QCOMPARE(send(processor, 2, 3, "c"), 0);
        QCOMPARE(transport.writeRequests, 1);

        QVERIFY(drain(processor));
        QCOMPARE(transport.wire, frame(2, 1, "a") + frame(2, 2, "b") + frame(2, 3, "c"));
        QCOMPARE(send(processor, 2, 4, "d"), 0);
        QCOMPARE(transport.writeRequests, 2);
    }

    void messageSentOncePerFrameInOrder_data()
    {
        QTest::addColumn<long>("accept");

        QTest::newRow("whole pieces") << LONG_MAX;
        QTest::newRow("byte by byte") << 1L;
    }

    void messageSentOncePerFrameInOrder()
    {
        QFETCH(long, accept);

        FakeTransport transport;
        transport.accepts.assign(1000, accept);
        MessageProcessor processor(&transport);
        ServiceLog log(transport);
        RecordingService one(1, log);
        RecordingService two(2, log);
        processor.registerService(&one);
        processor.registerService(&two);

        QCOMPARE(send(processor, 1, 10, "a"), 0);
        QCOMPARE(send(processor, 2, 11, QByteArray()), 0);
        QCOMPARE(send(processor, 1, 12, "ccc"), 0);
        QVERIFY(drain(processor));
        QVERIFY(!processor.sendPending());

        // Each report comes exactly when the frame's last byte has gone.
        const QStringList expected{sentAt(1, 10, 21), sentAt(2, 11, 41), sentAt(1, 12, 64)};
        QCOMPARE(log.sent, expected);
    }

    void transportLostStopsPumpUntilReset()
    {
        FakeTransport transport;
        transport.accepts = {7};
        MessageProcessor processor(&transport);
        ServiceLog log(transport);
        RecordingService four(4, log);
        RecordingService one(1, log);
        RecordingService two(2, log);
        processor.registerService(&four);
        processor.registerService(&one);
        processor.registerService(&two);

        QCOMPARE(send(processor, 1, 1, "first"), 0);
        QVERIFY(processor.sendPending());
        transport.failStatus = MessageTransport::TransportLost;
        QVERIFY(!processor.sendPending());
        QCOMPARE(log.lost, (QList<int>{1, 2, 4}));
        QCOMPARE(log.sent, QStringList());

        // The stalled frame keeps the processor busy: queuing more must not restart the pump.
        QCOMPARE(send(processor, 4, 2, "second"), 0);
        QCOMPARE(transport.writeRequests, 1);

        processor.reset();
        transport.failStatus = MessageTransport::TransportOk;
        transport.wire.clear();
        QVERIFY(drain(processor));
        QCOMPARE(transport.wire.toHex(), (frame(1, 1, "first") + frame(4, 2, "second")).toHex());
        QCOMPARE(log.lost, (QList<int>{1, 2, 4}));
        QCOMPARE(log.sent, (QStringList{sentAt(1, 1, 25), sentAt(4, 2, 51)}));
    }

    void otherWriteFailureKeepsFrame_data()
    {
        QTest::addColumn<int>("status");

        QTest::newRow("error") << int(MessageTransport::TransportError);
        QTest::newRow("eof") << int(MessageTransport::TransportEof);
        QTest::newRow("unknown code") << -3;
    }

    void otherWriteFailureKeepsFrame()
    {
        QFETCH(int, status);

        FakeTransport transport;
        transport.accepts = {7};
        MessageProcessor processor(&transport);
        ServiceLog log(transport);
        RecordingService service(2, log);
        processor.registerService(&service);

        QCOMPARE(send(processor, 2, 1, "kept"), 0);
        QVERIFY(processor.sendPending());
        transport.failStatus = status;
        QVERIFY(processor.sendPending());
        QVERIFY(processor.sendPending());
        QCOMPARE(log.lost, QList<int>());
        QCOMPARE(log.sent, QStringList());

        transport.failStatus = MessageTransport::TransportOk;
        QVERIFY(drain(processor));
        QCOMPARE(transport.wire.toHex(), frame(2, 1, "kept").toHex());
        QCOMPARE(log.sent, QStringList{sentAt(2, 1, 24)});
    }

    void refusedSendQueuesNothing_data()
    {
        QTest::addColumn<int>("serviceId");
        QTest::addColumn<int>("length");

        QTest::newRow("id below any registered") << 0 << 1;
        QTest::newRow("id between registered") << 3 << 1;
        QTest::newRow("id beyond registered") << 99 << 1;
        QTest::newRow("negative id") << -1 << 1;
        QTest::newRow("negative length") << 2 << -1;
        QTest::newRow("length too large") << 2 << INT_MAX;
    }

    void refusedSendQueuesNothing()
    {
        QFETCH(int, serviceId);
        QFETCH(int, length);

        FakeTransport transport;
        MessageProcessor processor(&transport);
        ServiceLog log(transport);
        RecordingService two(2, log);
        RecordingService four(4, log);
        processor.registerService(&two);
        processor.registerService(&four);

        // The body is never read when the frame is refused.
        const unsigned char body[1] = {'x'};
        QCOMPARE(processor.sendMessage(serviceId, 0, 1, length, body), -1);
        QCOMPARE(transport.writeRequests, 0);
        QVERIFY(!processor.sendPending());
        QCOMPARE(transport.writeSizes, QList<long>());

        // Still idle: the next good frame asks for the pump and goes out alone.
        QCOMPARE(send(processor, 4, 2, "ok"), 0);
        QCOMPARE(transport.writeRequests, 1);
        QVERIFY(drain(processor));
        QCOMPARE(transport.wire.toHex(), frame(4, 2, "ok").toHex());
    }
};

QTEST_GUILESS_MAIN(TestMessageProcessor)
#include "TestMessageProcessor.moc"
