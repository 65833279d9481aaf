#include "messaging/Message.h"

#include <QtTest>

#include <algorithm>
#include <climits>
#include <memory>

namespace {

const unsigned char* bytes(const QByteArray& array)
{
    return reinterpret_cast<const unsigned char*>(array.constData());
}

QByteArray body(const Message& message)
{
    return QByteArray(reinterpret_cast<const char*>(message.data), message.length);
}

// A header with the given length field and recognisable values elsewhere.
QByteArray headerWithLength(quint32 length)
{
    QByteArray header = QByteArray::fromHex("0001 0002 00000003 00000004 00000005");
    header.append(char(length >> 24))
        .append(char(length >> 16))
        .append(char(length >> 8))
        .append(char(length));
    return header;
}

} // namespace

class TestMessage : public QObject
{
    Q_OBJECT

private slots:
    void fromHeaderTakesEveryFieldAsGiven_data()
    {
        QTest::addColumn<QByteArray>("header");
        QTest::addColumn<int>("reserved");
        QTest::addColumn<int>("serviceWord");
        QTest::addColumn<int>("serviceId");
        QTest::addColumn<int>("param");
        QTest::addColumn<int>("sequence");
        QTest::addColumn<int>("length");

        QTest::newRow("all zero") << QByteArray(20, '\0') << 0 << 0 << 0 << 0 << 0 << 0;
        QTest::newRow("distinct bytes")
            << QByteArray::fromHex("1234 5678 0a0b0c0d 11223344 55667788 00000003") << 0x1234 << 0x5678
            << 0x0a0b0c0d << 0x11223344 << 0x55667788 << 3;
        // Bytes 0-3 are two unsigned 16-bit words; the 32-bit fields are signed.
        QTest::newRow("high bits set") << QByteArray::fromHex("ffff 8001 ffffffff 80000000 fffffffe 00000001")
                                       << 0xFFFF << 0x8001 << -1 << INT_MIN << -2 << 1;
        QTest::newRow("largest positive")
            << QByteArray::fromHex("0000 0000 7fffffff 7fffffff 7fffffff 00000400") << 0 << 0 << INT_MAX
            << INT_MAX << INT_MAX << 1024;
    }

    void fromHeaderTakesEveryFieldAsGiven()
    {
        QFETCH(QByteArray, header);
        QFETCH(int, reserved);
        QFETCH(int, serviceWord);
        QFETCH(int, serviceId);
        QFETCH(int, param);
        QFETCH(int, sequence);
        QFETCH(int, length);

        int count = int(header.size());
        std::unique_ptr<Message> message(Message::fromHeader(bytes(header), count));
        QVERIFY(message);
        QCOMPARE(count, 20);
        QCOMPARE(message->reserved, reserved);
        QCOMPARE(message->serviceWord, serviceWord);
        QCOMPARE(message->serviceId, serviceId);
        QCOMPARE(message->param, param);
        QCOMPARE(message->sequence, sequence);
        QCOMPARE(message->length, length);
        QCOMPARE(message->data != nullptr, length > 0);
    }

    // count is what the caller has buffered; only the first 20 bytes are ever consumed.
    void fromHeaderCount_data()
    {
        QTest::addColumn<int>("available");
        QTest::addColumn<bool>("parsed");

        QTest::newRow("nothing") << 0 << false;
        QTest::newRow("negative") << -5 << false;
        QTest::newRow("one byte") << 1 << false;
        QTest::newRow("one short") << 19 << false;
        QTest::newRow("exact") << 20 << true;
        QTest::newRow("more buffered") << 64 << true;
    }

    void fromHeaderCount()
    {
        QFETCH(int, available);
        QFETCH(bool, parsed);

        QByteArray buffer = headerWithLength(2) + QByteArray(44, 'x');
        int count = available;
        std::unique_ptr<Message> message(Message::fromHeader(bytes(buffer), count));
        QCOMPARE(message != nullptr, parsed);
        QCOMPARE(count, parsed ? 20 : 0);
        if (parsed)
            QCOMPARE(message->length, 2);
    }

    void fromHeaderRefusesLengthsOutOfRange_data()
    {
        QTest::addColumn<quint32>("length");

        QTest::newRow("0x7FFFFFFF") << quint32(0x7FFFFFFF);
        QTest::newRow("0x80000000") << quint32(0x80000000);
        QTest::newRow("0xFFFFFFFF") << quint32(0xFFFFFFFF);
    }

    void fromHeaderRefusesLengthsOutOfRange()
    {
        QFETCH(quint32, length);

        const QByteArray header = headerWithLength(length);
        int count = 20;
        std::unique_ptr<Message> message(Message::fromHeader(bytes(header), count));
        QVERIFY(!message);
        QCOMPARE(count, 0);
    }

    void fromHeaderWithZeroLengthHasNoBody()
    {
        const QByteArray header = headerWithLength(0);
        int count = 20;
        std::unique_ptr<Message> message(Message::fromHeader(bytes(header), count));
        QVERIFY(message);
        QCOMPARE(count, 20);
        QCOMPARE(message->length, 0);
        QVERIFY(!message->data);
    }

    void fromHeaderAcceptsLargestLength()
    {
        const QByteArray header = headerWithLength(0x7FFFFFFE);
        int count = 20;
        std::unique_ptr<Message> message(Message::fromHeader(bytes(header), count));
        if (!message) {
            QCOMPARE(count, 0);
            QSKIP("no memory for a 2 GiB body here");
        }
        QCOMPARE(count, 20);
        QCOMPARE(message->length, Message::MaxLength);
        QVERIFY(message->data);
    }

    void setDataCopiesAndResizes_data()
    {
        QTest::addColumn<QByteArray>("first");
        QTest::addColumn<QByteArray>("second");

        QTest::newRow("empty to some") << QByteArray() << QByteArray("abc");
        QTest::newRow("grow") << QByteArray("abc") << QByteArray("0123456789");
        QTest::newRow("shrink") << QByteArray("0123456789") << QByteArray("xy");
        QTest::newRow("same size") << QByteArray("abcd") << QByteArray("wxyz");
        QTest::newRow("to empty") << QByteArray("abcd") << QByteArray();
    }

    void setDataCopiesAndResizes()
    {
        QFETCH(QByteArray, first);
        QFETCH(QByteArray, second);

        Message message;
        QCOMPARE(message.setData(first.constData(), int(first.size())), 1);
        QCOMPARE(body(message), first);
        unsigned char* const firstBuffer = message.data;

        QByteArray source = second;
        QCOMPARE(message.setData(source.constData(), int(source.size())), 1);
        source.fill('!');
        QCOMPARE(message.length, int(second.size()));
        QCOMPARE(body(message), second);
        if (second.isEmpty())
            QVERIFY(!message.data);
        // Shrinking cannot fail for lack of memory: the old buffer is kept.
        else if (second.size() <= first.size())
            QCOMPARE(message.data, firstBuffer);
    }

    void refusedLengthLeavesMessageUnchanged_data()
    {
        QTest::addColumn<bool>("viaResize");
        QTest::addColumn<int>("length");

        for (const bool viaResize : {false, true}) {
            const char* call = viaResize ? "resize" : "setData";
            QTest::addRow("%s -1", call) << viaResize << -1;
            QTest::addRow("%s INT_MIN", call) << viaResize << INT_MIN;
            QTest::addRow("%s 0x7FFFFFFF", call) << viaResize << INT_MAX;
        }
    }

    void refusedLengthLeavesMessageUnchanged()
    {
        QFETCH(bool, viaResize);
        QFETCH(int, length);

        Message message;
        QCOMPARE(message.setData("kept", 4), 1);
        unsigned char* const buffer = message.data;

        // The source is never read for a refused length, so a small one is safe.
        const int result = viaResize ? message.resize(length) : message.setData("other", length);
        QCOMPARE(result, 0);
        QCOMPARE(message.length, 4);
        QCOMPARE(message.data, buffer);
        QCOMPARE(body(message), QByteArray("kept"));
    }

    void resizeGivesBodyOfLength_data()
    {
        QTest::addColumn<int>("from");
        QTest::addColumn<int>("to");

        QTest::newRow("empty to 16") << 0 << 16;
        QTest::newRow("grow") << 4 << 4096;
        QTest::newRow("shrink") << 64 << 3;
        QTest::newRow("to empty") << 8 << 0;
    }

    void resizeGivesBodyOfLength()
    {
        QFETCH(int, from);
        QFETCH(int, to);

        Message message;
        QCOMPARE(message.resize(from), 1);
        QCOMPARE(message.resize(to), 1);
        QCOMPARE(message.length, to);
        QCOMPARE(message.data != nullptr, to > 0);
        if (to > 0) {
            // The whole body must be writable: a receiver fills it byte by byte.
            std::fill(message.data, message.data + to, 0x5A);
            QCOMPARE(body(message), QByteArray(to, 'Z'));
        }
    }

    void writeHeaderLayout_data()
    {
        QTest::addColumn<int>("reserved");
        QTest::addColumn<int>("serviceWord");
        QTest::addColumn<int>("serviceId");
        QTest::addColumn<int>("param");
        QTest::addColumn<int>("sequence");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QByteArray>("wire");

        QTest::newRow("zero") << 0 << 0 << 0 << 0 << 0 << QByteArray() << QByteArray(20, '\0');
        QTest::newRow("distinct") << 0x0102 << 0x0304 << 0x05060708 << 0x090a0b0c << 0x0d0e0f10
                                  << QByteArray("abcde")
                                  << QByteArray::fromHex("0102 0304 05060708 090a0b0c 0d0e0f10 00000005");
        QTest::newRow("negative and high")
            << 0xFFFF << 0x8000 << -1 << INT_MIN << -2 << QByteArray(300, 'q')
            << QByteArray::fromHex("ffff 8000 ffffffff 80000000 fffffffe 0000012c");
    }

    void writeHeaderLayout()
    {
        QFETCH(int, reserved);
        QFETCH(int, serviceWord);
        QFETCH(int, serviceId);
        QFETCH(int, param);
        QFETCH(int, sequence);
        QFETCH(QByteArray, body);
        QFETCH(QByteArray, wire);

        Message message;
        message.reserved = reserved;
        message.serviceWord = serviceWord;
        message.serviceId = serviceId;
        message.param = param;
        message.sequence = sequence;
        QCOMPARE(message.setData(body.constData(), int(body.size())), 1);

        // A guard byte past the header shows nothing beyond byte 19 is written.
        QByteArray out(21, '\x77');
        message.writeHeader(reinterpret_cast<unsigned char*>(out.data()));
        QCOMPARE(out.left(20).toHex(), wire.toHex());
        QCOMPARE(out.at(20), '\x77');

        int count = 20;
        std::unique_ptr<Message> parsed(Message::fromHeader(bytes(out), count));
        QVERIFY(parsed);
        QCOMPARE(parsed->reserved, reserved);
        QCOMPARE(parsed->serviceWord, serviceWord);
        QCOMPARE(parsed->serviceId, serviceId);
        QCOMPARE(parsed->param, param);
        QCOMPARE(parsed->sequence, sequence);
        QCOMPARE(parsed->length, int(body.size()));
    }
};

QTEST_GUILESS_MAIN(TestMessage)
#include "TestMessage.moc"
