#include "messaging/Message.h"

#include <QtTest>

#include <climits>
#include <memory>

namespace {

const unsigned char* bytes(const QByteArray& array)
{
    return reinterpret_cast<const unsigned char*>(array.constData());
}

// reserved, serviceWord, serviceId, param, sequence, length
QList<int> fields(const Message& message)
{
    return {message.reserved, message.serviceWord, message.serviceId,
            message.param,    message.sequence,    message.length};
}

} // namespace

class TestMessage : public QObject
{
    Q_OBJECT

private slots:
    void fromHeader_data()
    {
        QTest::addColumn<QByteArray>("buffer");
        QTest::addColumn<int>("available");
        // Empty when the header must be refused.
        QTest::addColumn<QList<int>>("expected");

        // Bytes 0-1 and 2-3 are unsigned 16-bit words; the 32-bit fields are signed.
        const QByteArray high = QByteArray::fromHex("ffff 8001 ffffffff 80000000 fffffffe 00000001");
        QTest::newRow("high bits") << high << 20 << QList<int>{0xFFFF, 0x8001, -1, INT_MIN, -2, 1};
        // Only the first 20 of the bytes the caller has buffered are taken.
        QTest::newRow("no body, more buffered")
            << QByteArray::fromHex("1234 5678 0a0b0c0d 11223344 55667788 00000000") + QByteArray(44, 'x')
            << 64 << QList<int>{0x1234, 0x5678, 0x0a0b0c0d, 0x11223344, 0x55667788, 0};
        QTest::newRow("one byte short") << high << 19 << QList<int>();
        const QByteArray head = high.left(16);
        QTest::newRow("largest length") << head + QByteArray::fromHex("7ffffffe") << 20
                                        << QList<int>{0xFFFF, 0x8001, -1, INT_MIN, -2, Message::MaxLength};
        QTest::newRow("length 0x7FFFFFFF") << head + QByteArray::fromHex("7fffffff") << 20 << QList<int>();
        QTest::newRow("length 0x80000000") << head + QByteArray::fromHex("80000000") << 20 << QList<int>();
    }

    void fromHeader()
    {
        QFETCH(QByteArray, buffer);
        QFETCH(int, available);
        QFETCH(QList<int>, expected);

        int count = available;
        std::unique_ptr<Message> message(Message::fromHeader(bytes(buffer), count));
        QCOMPARE(count, message ? 20 : 0);
        if (!message && expected.value(5) == Message::MaxLength)
            QSKIP("no memory for a 2 GiB body here");
        QCOMPARE(message ? fields(*message) : QList<int>(), expected);
        if (message)
            QCOMPARE(message->data != nullptr, message->length > 0);
    }

    void refusedLengthLeavesMessageUnchanged()
    {
        for (const int length : {-1, INT_MAX}) {
            Message message;
            QCOMPARE(message.setData("kept", 4), 1);
            unsigned char* const buffer = message.data;
            // The source is never read for a refused length, so a small one is safe.
            QCOMPARE(message.setData("other", length), 0);
            QCOMPARE(message.resize(length), 0);
            QCOMPARE(message.data, buffer);
            QCOMPARE(QByteArray(reinterpret_cast<char*>(message.data), message.length), QByteArray("kept"));
        }
    }

    void headerLayoutRoundTrip()
    {
        Message message;
        // Distinct bytes everywhere, high bits in every field, so a swapped or shifted field shows.
        message.reserved = 0x81FF;
        message.serviceWord = 0xF203;
        message.serviceId = int(0x85060708);
        message.param = 0x090a0b0c;
        message.sequence = int(0xfd0e0f10);
        QCOMPARE(message.resize(300), 1);

        // A guard byte past the header shows nothing beyond byte 19 is written.
        QByteArray out(21, '\x77');
        message.writeHeader(reinterpret_cast<unsigned char*>(out.data()));
        QCOMPARE(out.toHex(), QByteArray("81fff20385060708090a0b0cfd0e0f100000012c77"));

        int count = 20;
        std::unique_ptr<Message> parsed(Message::fromHeader(bytes(out), count));
        QVERIFY(parsed);
        QCOMPARE(fields(*parsed), fields(message));
    }
};

QTEST_GUILESS_MAIN(TestMessage)
#include "TestMessage.moc"
