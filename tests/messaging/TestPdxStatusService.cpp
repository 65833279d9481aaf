#include "messaging/BigEndian.h"
#include "messaging/Message.h"
#include "messaging/MessageProcessor.h"
#include "messaging/MessageTransport.h"
#include "messaging/PdxStatusService.h"
#include "tray/WardletApp.h"

#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>
#include <time.h>
#include <utility>

namespace {

// Frames only come in here, so nothing ever needs a socket.
class SilentTransport : public MessageTransport
{
public:
    long read(void*, long, int* status) override
    {
        *status = TransportOk;
        return 0;
    }
    long write(const void*, long size, int* status) override
    {
        *status = TransportOk;
        return size;
    }
    void requestWrite() override { }
};

WardletApp* app()
{
    return qobject_cast<WardletApp*>(QCoreApplication::instance());
}

QByteArray be32(quint32 value)
{
    QByteArray bytes(4, '\0');
    BigEndian::writeU32(reinterpret_cast<unsigned char*>(bytes.data()), value);
    return bytes;
}

QByteArray serverRecord(quint32 managed, quint32 online, quint32 time, const QByteArray& server)
{
    return be32(managed) + be32(online) + be32(time) + be32(quint32(server.size())) + server;
}

QByteArray textReport(quint32 present, const QByteArray& text)
{
    return be32(present) + be32(quint32(text.size())) + text;
}

QString describe(const QString& value)
{
    return value;
}

QString describe(bool value)
{
    return value ? QStringLiteral("true") : QStringLiteral("false");
}

QString describe(int value)
{
    return QString::number(value);
}

// Everything the application announces, as "name=value" in the order it was announced.
class SignalLog : public QObject
{
public:
    SignalLog()
    {
        record(&WardletApp::alertCountChanged, "AlertCount");
        record(&WardletApp::VGStatusStrChanged, "VGStatus");
        record(&WardletApp::KVSStatusStrChanged, "KVSStatus");
        record(&WardletApp::PDXStatusStrChanged, "PDXStatus");
        record(&WardletApp::NRAllowedChanged, "NRAllowed");
        record(&WardletApp::ScanStatusStrChanged, "ScanStatus");
        record(&WardletApp::productVersionChanged, "Product");
        record(&WardletApp::engineVersionChanged, "Engine");
        record(&WardletApp::defsVersionChanged, "Defs");
        record(&WardletApp::showIconChanged, "ShowIcon");
        record(&WardletApp::ServerAddressStatusChanged, "Server");
        record(&WardletApp::GroupInfoStatusChanged, "Group");
        record(&WardletApp::ConnectedTimeStatusChanged, "ConnectedTime");
        record(&WardletApp::LocationInfoStatusChanged, "Location");
        record(&WardletApp::PolicyNumStatusChanged, "PolicyNum");
    }

    QStringList entries;

private:
    template <typename Arg> void record(void (WardletApp::*signal)(Arg), const char* name)
    {
        connect(app(), signal, this, [this, name](Arg value) {
            entries << QLatin1String(name) + QLatin1Char('=') + describe(value);
        });
    }
};

// 1300000000 and -1 as the C library writes them in the C locale, in UTC.
const char* const March13 = "Sun Mar 13 07:06:40 2011";
const char* const BeforeEpoch = "Wed Dec 31 23:59:59 1969";

// The management client's message ids.
enum : quint32
{
    PolicyNumber = 24,
    Group = 26,
    Location = 28,
    ServerStatus = 32,
    ConnectedTime = 34,
};

} // namespace

class TestPdxStatusService : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void serviceIdentity();
    void serverStatus_data();
    void serverStatus();
    void connectedTime_data();
    void connectedTime();
    void textReports_data();
    void textReports();
    void ignoredMessages_data();
    void ignoredMessages();
    void truncatedReports_data();
    void truncatedReports();

private:
    bool deliver(const QByteArray& body);

    SilentTransport _transport;
    std::unique_ptr<MessageProcessor> _processor;
    std::unique_ptr<PdxStatusService> _service;
};

void TestPdxStatusService::init()
{
    WardletApp* application = app();
    application->resetPdxStatus();
    // Texts start from a mark of our own, so that clearing one shows as a change.
    const QString mark = QStringLiteral("old");
    application->setServerAddress(mark);
    application->setGroupInfo(mark);
    application->setConnectedTime(mark);
    application->setLocationInfo(mark);
    application->setPolicyNumber(mark);

    _processor = std::make_unique<MessageProcessor>(&_transport);
    _service = std::make_unique<PdxStatusService>(application);
    QCOMPARE(_processor->registerService(_service.get()), 3);
}

void TestPdxStatusService::cleanup()
{
    _processor.reset();
    _service.reset();
}

// Sends body as one whole frame; false when the processor refused it.
bool TestPdxStatusService::deliver(const QByteArray& body)
{
    QByteArray bytes(Message::HeaderSize, '\0');
    auto* header = reinterpret_cast<unsigned char*>(bytes.data());
    BigEndian::writeU16(header + 2, quint32(_service->serviceWord()));
    BigEndian::writeU32(header + 4, quint32(_service->serviceId()));
    BigEndian::writeU32(header + 12, 1);
    BigEndian::writeU32(header + 16, quint32(body.size()));
    bytes += body;
    return _processor->receiveData(reinterpret_cast<const unsigned char*>(bytes.constData()), bytes.size())
        == 1;
}

void TestPdxStatusService::serviceIdentity()
{
    QCOMPARE(_service->serviceId(), 3);
    QCOMPARE(_service->serviceWord(), 0);
}

void TestPdxStatusService::serverStatus_data()
{
    QTest::addColumn<QByteArray>("record");
    QTest::addColumn<QStringList>("expected");

    const QString march13 = QLatin1String(March13);
    QTest::newRow("online") << serverRecord(1, 1, 1300000000, "10.0.0.1")
                            << QStringList{"Server=10.0.0.1", "ConnectedTime=" + march13,
                                           "PDXStatus=Running"};
    QTest::newRow("self-managed") << serverRecord(0, 1, 1300000000, "10.0.0.1")
                                  << QStringList{"Server=Self-managed", "PDXStatus=Running"};
    QTest::newRow("offline") << serverRecord(1, 0, 1300000000, "10.0.0.1")
                             << QStringList{"Server=Offline", "PDXStatus=Running"};
    QTest::newRow("time before the epoch")
        << serverRecord(1, 1, 0xFFFFFFFFu, "h")
        << QStringList{"Server=h", "ConnectedTime=" + QLatin1String(BeforeEpoch), "PDXStatus=Running"};
    QTest::newRow("time 0") << serverRecord(1, 1, 0, "h")
                            << QStringList{"Server=h", "ConnectedTime=Thu Jan  1 00:00:00 1970",
                                           "PDXStatus=Running"};
    QTest::newRow("Latin-1 server") << serverRecord(2, 2, 1300000000, "h\xF4te")
                                    << QStringList{QString::fromUtf8("Server=h\xC3\xB4te"),
                                                   "ConnectedTime=" + march13, "PDXStatus=Running"};
    const QByteArray trailed = serverRecord(1, 1, 1300000000, "10.0.0.1") + "junk";
    QTest::newRow("bytes after the server")
        << trailed << QStringList{"Server=10.0.0.1", "ConnectedTime=" + march13, "PDXStatus=Running"};
    QTest::newRow("empty server") << serverRecord(1, 1, 1300000000, "")
                                  << QStringList{"Server=", "ConnectedTime=" + march13, "PDXStatus=Running"};

    QTest::newRow("15 bytes") << serverRecord(0, 0, 0, "").left(15) << QStringList();
    QTest::newRow("server cut short")
        << serverRecord(1, 1, 1300000000, "10.0.0.1").chopped(1) << QStringList();
    QTest::newRow("negative count") << serverRecord(1, 1, 1300000000, "").left(12) + be32(quint32(-1)) + "abc"
                                    << QStringList();
    QTest::newRow("self-managed, count past the end")
        << serverRecord(0, 1, 1300000000, "").left(12) + be32(0x7FFFFFFF) << QStringList();
}

void TestPdxStatusService::serverStatus()
{
    QFETCH(QByteArray, record);
    QFETCH(QStringList, expected);

    SignalLog log;
    QSignalSpy stateSpy(app(), &WardletApp::PDXStatusStrChanged);
    QVERIFY(deliver(be32(ServerStatus) + record));
    QCOMPARE(log.entries, expected);
    QCOMPARE(stateSpy.count(), expected.isEmpty() ? 0 : 1);
}

void TestPdxStatusService::connectedTime_data()
{
    QTest::addColumn<QByteArray>("record");
    QTest::addColumn<QStringList>("expected");

    const QString march13 = QLatin1String(March13);
    QTest::newRow("managed") << serverRecord(1, 1, 1300000000, "10.0.0.1")
                             << QStringList{"ConnectedTime=" + march13};
    QTest::newRow("offline") << serverRecord(1, 0, 1300000000, "10.0.0.1")
                             << QStringList{"ConnectedTime=" + march13};
    QTest::newRow("time before the epoch")
        << serverRecord(1, 1, 0xFFFFFFFFu, "h") << QStringList{"ConnectedTime=" + QLatin1String(BeforeEpoch)};
    QTest::newRow("time 0") << serverRecord(1, 1, 0, "10.0.0.1") << QStringList{"ConnectedTime="};
    QTest::newRow("self-managed") << serverRecord(0, 1, 1300000000, "10.0.0.1")
                                  << QStringList{"ConnectedTime="};
    QTest::newRow("no server") << serverRecord(1, 1, 1300000000, "") << QStringList{"ConnectedTime="};

    QTest::newRow("15 bytes") << serverRecord(1, 1, 0, "").left(15) << QStringList();
    QTest::newRow("server cut short") << serverRecord(1, 1, 0, "10.0.0.1").chopped(1) << QStringList();
    QTest::newRow("negative count") << serverRecord(0, 0, 0, "").left(12) + be32(quint32(-1))
                                    << QStringList();
}

void TestPdxStatusService::connectedTime()
{
    QFETCH(QByteArray, record);
    QFETCH(QStringList, expected);

    SignalLog log;
    QVERIFY(deliver(be32(ConnectedTime) + record));
    QCOMPARE(log.entries, expected);
}

void TestPdxStatusService::textReports_data()
{
    QTest::addColumn<quint32>("id");
    QTest::addColumn<QByteArray>("report");
    QTest::addColumn<QStringList>("expected");

    const QByteArray abcd("ABCD\0", 5);
    const QString abcdZero = QStringLiteral("ABCD") + QChar(0);
    QTest::newRow("policy number") << quint32(PolicyNumber) << textReport(1, abcd)
                                   << QStringList{"PolicyNum=ABCD"};
    QTest::newRow("group") << quint32(Group) << textReport(1, abcd) << QStringList{"Group=" + abcdZero};
    QTest::newRow("location") << quint32(Location) << textReport(1, abcd)
                              << QStringList{"Location=" + abcdZero};

    QTest::newRow("policy number in Latin-1")
        << quint32(PolicyNumber) << textReport(1, QByteArray("\xE9\0", 2))
        << QStringList{QString::fromUtf8("PolicyNum=\xC3\xA9")};
    QTest::newRow("group in UTF-8") << quint32(Group) << textReport(1, "\xC3\xA9")
                                    << QStringList{QString::fromUtf8("Group=\xC3\xA9")};
    QTest::newRow("location in UTF-8") << quint32(Location) << textReport(1, "\xC3\xA9")
                                       << QStringList{QString::fromUtf8("Location=\xC3\xA9")};
    QTest::newRow("zero byte inside a group") << quint32(Group) << textReport(1, QByteArray("a\0b", 3))
                                              << QStringList{"Group=a" + QString(QChar(0)) + "b"};
    QTest::newRow("bytes after the text")
        << quint32(Group) << textReport(1, "g") + "junk" << QStringList{"Group=g"};

    QTest::newRow("policy number count 0")
        << quint32(PolicyNumber) << textReport(1, "") << QStringList{"PolicyNum="};
    QTest::newRow("group count 0") << quint32(Group) << textReport(1, "") << QStringList{"Group="};

    for (const auto& [id, name] :
         {std::pair<quint32, QString>{PolicyNumber, "PolicyNum"}, {Group, "Group"}, {Location, "Location"}}) {
        const QByteArray tag = name.toLatin1();
        QTest::newRow((tag + " absent").constData()) << id << textReport(0, "") << QStringList{name + "="};
        QTest::newRow((tag + " absent with text").constData())
            << id << textReport(0, "x") << QStringList{name + "="};
        QTest::newRow((tag + " absent, count -1").constData())
            << id << be32(0) + be32(quint32(-1)) << QStringList{name + "="};
        QTest::newRow((tag + " absent, count past the end").constData())
            << id << be32(0) + be32(1000) << QStringList{name + "="};
        QTest::newRow((tag + " absent, 7 bytes").constData())
            << id << be32(0) + QByteArray(3, '\0') << QStringList();
        QTest::newRow((tag + " 7 bytes").constData()) << id << be32(1) + QByteArray(3, '\0') << QStringList();
        QTest::newRow((tag + " count past the end").constData())
            << id << textReport(1, "abc").chopped(1) << QStringList();
        QTest::newRow((tag + " count -1").constData())
            << id << be32(1) + be32(quint32(-1)) + "abc" << QStringList();
        QTest::newRow((tag + " largest count").constData())
            << id << be32(1) + be32(0x7FFFFFFF) + "abc" << QStringList();
    }
}

void TestPdxStatusService::textReports()
{
    QFETCH(quint32, id);
    QFETCH(QByteArray, report);
    QFETCH(QStringList, expected);

    SignalLog log;
    QVERIFY(deliver(be32(id) + report));
    QCOMPARE(log.entries, expected);
}

void TestPdxStatusService::ignoredMessages_data()
{
    QTest::addColumn<QByteArray>("body");

    const QByteArray payload = serverRecord(1, 1, 1300000000, "10.0.0.1");
    for (quint32 id : {0u, 2u, 3u, 5u, 23u, 25u, 27u, 31u, 33u, 35u, 0x18000000u, 0xFFFFFFFFu})
        QTest::newRow(qPrintable(QStringLiteral("id %1").arg(id))) << be32(id) + payload;
    QTest::newRow("empty body") << QByteArray();
    QTest::newRow("id cut short") << QByteArray::fromHex("000000");
    for (quint32 id : {24u, 26u, 28u, 32u, 34u})
        QTest::newRow(qPrintable(QStringLiteral("id %1 alone").arg(id))) << be32(id);
}

void TestPdxStatusService::ignoredMessages()
{
    QFETCH(QByteArray, body);

    SignalLog log;
    QVERIFY(deliver(body));
    QCOMPARE(log.entries, QStringList());
}

void TestPdxStatusService::truncatedReports_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QStringList>("expected");

    QTest::newRow("server status") << be32(ServerStatus) + serverRecord(1, 1, 1300000000, "10.0.0.1")
                                   << QStringList{"Server=10.0.0.1",
                                                  "ConnectedTime=" + QLatin1String(March13),
                                                  "PDXStatus=Running"};
    QTest::newRow("self-managed") << be32(ServerStatus) + serverRecord(0, 0, 0, "10.0.0.1")
                                  << QStringList{"Server=Self-managed", "PDXStatus=Running"};
    QTest::newRow("connected time") << be32(ConnectedTime) + serverRecord(1, 1, 0, "10.0.0.1")
                                    << QStringList{"ConnectedTime="};
    QTest::newRow("policy number") << be32(PolicyNumber) + textReport(1, QByteArray("ABCD\0", 5))
                                   << QStringList{"PolicyNum=ABCD"};
    QTest::newRow("group") << be32(Group) + textReport(1, "group") << QStringList{"Group=group"};
    QTest::newRow("location") << be32(Location) + textReport(1, "here") << QStringList{"Location=here"};
}

void TestPdxStatusService::truncatedReports()
{
    QFETCH(QByteArray, body);
    QFETCH(QStringList, expected);

    SignalLog log;
    // Whatever the cut, a report that lost bytes changes nothing.
    for (int length = 0; length < body.size(); ++length) {
        QVERIFY(deliver(body.left(length)));
        QVERIFY2(log.entries.isEmpty(),
                 qPrintable(
                     QStringLiteral("length %1: %2").arg(length).arg(log.entries.join(QLatin1String(", ")))));
    }
    QVERIFY(deliver(body));
    QCOMPARE(log.entries, expected);
}

int main(int argc, char** argv)
{
    // The expected times are C-locale, UTC renderings; the application picks the locale up.
    qputenv("LC_ALL", "C");
    qputenv("TZ", "UTC");
    tzset();
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    // The application reads the user's settings; keep them out of reach.
    QTemporaryDir config;
    if (!config.isValid())
        return 1;
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(config.path()));

    WardletApp application(argc, argv);
    application.initialize();
    TestPdxStatusService test;
    return QTest::qExec(&test, argc, argv);
}

#include "TestPdxStatusService.moc"
