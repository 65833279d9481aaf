#include "messaging/BigEndian.h"
#include "messaging/KvsStatusService.h"
#include "messaging/Message.h"
#include "messaging/MessageProcessor.h"
#include "messaging/MessageTransport.h"
#include "tray/WardletApp.h"

#include <QDate>
#include <QFile>
#include <QLocale>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

#include <cstring>
#include <memory>
#include <time.h>

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

// Hands alert records to the test instead of the application.
class AlertCatcher : public KvsStatusService
{
public:
    using KvsStatusService::KvsStatusService;

    void handleAlert(const unsigned char* data, int length) override
    {
        records << QByteArray(reinterpret_cast<const char*>(data), length);
    }

    QList<QByteArray> records;
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

QByteArray words(std::initializer_list<quint32> values)
{
    QByteArray bytes;
    for (quint32 value : values)
        bytes += be32(value);
    return bytes;
}

// A text the way the daemon counts it: its bytes plus a terminating zero byte.
QByteArray text(const QByteArray& value)
{
    return be32(quint32(value.size() + 1)) + value + '\0';
}

// Sends body as one whole frame addressed to service; false when the processor refused it.
bool deliver(MessageProcessor& processor, const MessageService& service, const QByteArray& body)
{
    QByteArray bytes(Message::HeaderSize, '\0');
    auto* header = reinterpret_cast<unsigned char*>(bytes.data());
    BigEndian::writeU16(header + 2, quint32(service.serviceWord()));
    BigEndian::writeU32(header + 4, quint32(service.serviceId()));
    BigEndian::writeU32(header + 12, 1);
    BigEndian::writeU32(header + 16, quint32(body.size()));
    bytes += body;
    return processor.receiveData(reinterpret_cast<const unsigned char*>(bytes.constData()), bytes.size())
        == 1;
}

// Puts every scan daemon value back where init() promises, then emits nothing more.
void resetApplication()
{
    WardletApp* application = app();
    application->resetKvsStatus();
    application->resetAlerts();
    application->setShowIcon(true);
    // Versions start from a mark of our own, so that even an empty text shows as a change.
    const QString mark = QStringLiteral("?");
    application->setProductVersion(mark);
    application->setEngineVersion(mark);
    application->setDefsVersion(mark);
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

const char* const Unset = "(unset)";

QString fieldText(const QString& value)
{
    return value.isNull() ? QLatin1String(Unset) : value;
}

// Time first, then the nine fields and the format; null texts show as Unset.
QStringList alertFields(const qelUI::Alert& alert)
{
    return {QString::number(qint64(alert.time)),
            fieldText(alert.fieldL),
            fieldText(alert.fieldE),
            fieldText(alert.fieldV),
            fieldText(alert.fieldP),
            fieldText(alert.fieldC),
            fieldText(alert.fieldS),
            fieldText(alert.fieldN),
            fieldText(alert.fieldA),
            fieldText(alert.fieldF),
            fieldText(alert.format)};
}

QStringList defaultAlertFields()
{
    QStringList fields{QStringLiteral("0")};
    for (int i = 0; i < 9; ++i)
        fields << QLatin1String(Unset);
    return fields << QString();
}

QString dateText(int year, int month, int day)
{
    return QLocale::system().toString(QDate(year, month, day), QLocale::ShortFormat);
}

QByteArray fullStatus()
{
    return words({2, VGEnabled, 1, 1, 0});
}

// The versions report in the pieces that each complete one announcement.
QList<QByteArray> versionsPieces()
{
    return {be32(5) + text("1.2.3"), text("4.5"), text("defs"), words({14, 3, 2011, 7})};
}

QByteArray fullVersions()
{
    QByteArray report;
    for (const QByteArray& piece : versionsPieces())
        report += piece;
    return report;
}

const QStringList AlertTexts{"path",    "engine", "virus",  "process", "command",
                             "scanner", "name",   "action", "file",    "%N found in %F"};

QByteArray fullAlert()
{
    QByteArray record = be32(1300000000);
    for (const QString& value : AlertTexts)
        record += text(value.toUtf8());
    return record;
}

} // namespace

class TestKvsStatusService : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void serviceIdentity();
    void statusReport_data();
    void statusReport();
    void statusReportTruncated();
    void versionsReport_data();
    void versionsReport();
    void versionsReportTruncated();
    void scanStatusReport_data();
    void scanStatusReport();
    void ignoredMessages_data();
    void ignoredMessages();
    void alertReachesTheApplication();
    void alertRecordIsHandedOver_data();
    void alertRecordIsHandedOver();
    void parseAlert_data();
    void parseAlert();
    void parseAlertTruncated();

private:
    bool deliver(const QByteArray& body);

    SilentTransport _transport;
    std::unique_ptr<MessageProcessor> _processor;
    std::unique_ptr<KvsStatusService> _service;
};

void TestKvsStatusService::init()
{
    resetApplication();
    _processor = std::make_unique<MessageProcessor>(&_transport);
    _service = std::make_unique<KvsStatusService>(app());
    QCOMPARE(_processor->registerService(_service.get()), 2);
}

void TestKvsStatusService::cleanup()
{
    _processor.reset();
    _service.reset();
}

bool TestKvsStatusService::deliver(const QByteArray& body)
{
    return ::deliver(*_processor, *_service, body);
}

void TestKvsStatusService::serviceIdentity()
{
    QCOMPARE(_service->serviceId(), 2);
    QCOMPARE(_service->serviceWord(), 0);
}

void TestKvsStatusService::statusReport_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<int>("scanner");
    QTest::addColumn<bool>("running");
    QTest::addColumn<QStringList>("expected");

    QTest::newRow("messageId only") << be32(2) << int(VGDisabled) << true
                                    << QStringList{"VGStatus=Malfunctioning", "KVSStatus=Disabled",
                                                   "NRAllowed=false"};
    QTest::newRow("three words") << QByteArray::fromHex("000000020000000100000005") << int(VGDisabled)
                                 << false
                                 << QStringList{"VGStatus=Enabled", "KVSStatus=Running", "NRAllowed=false"};
    QTest::newRow("four words") << words({2, VGNotInstalled, 0, 1}) << int(VGDisabled) << false
                                << QStringList{"VGStatus=Not Installed", "NRAllowed=true"};
    QTest::newRow("icon hidden") << words({2, VGDisabled, 1, 1, 0}) << int(VGEnabled) << false
                                 << QStringList{"VGStatus=Disabled", "KVSStatus=Running", "NRAllowed=true",
                                                "ShowIcon=false"};
    QTest::newRow("icon shown") << words({2, VGEnabled, 1, 0, 1}) << int(VGEnabled) << true
                                << QStringList{"NRAllowed=false"};
    QTest::newRow("trailing bytes") << words({2, VGEnabled, 0, 0, 0, 7, 7}) << int(VGEnabled) << false
                                    << QStringList{"NRAllowed=false", "ShowIcon=false"};
    QTest::newRow("word cut short") << words({2, VGEnabled}) + QByteArray(3, '\1') << int(VGDisabled) << true
                                    << QStringList{"VGStatus=Enabled", "KVSStatus=Disabled",
                                                   "NRAllowed=false"};
    QTest::newRow("icon word cut short")
        << words({2, VGEnabled, 1, 1}) + QByteArray(3, '\0') << int(VGDisabled) << false
        << QStringList{"VGStatus=Enabled", "KVSStatus=Running", "NRAllowed=true"};
    QTest::newRow("unknown scanner state") << words({2, 7}) << int(VGDisabled) << false
                                           << QStringList{"VGStatus=Malfunctioning", "NRAllowed=false"};
    QTest::newRow("three bytes") << QByteArray::fromHex("000000") << int(VGDisabled) << true << QStringList();
}

void TestKvsStatusService::statusReport()
{
    QFETCH(QByteArray, body);
    QFETCH(int, scanner);
    QFETCH(bool, running);
    QFETCH(QStringList, expected);

    app()->setVGStatus(VGEnabledStatus(scanner));
    app()->setKVSStatus(running);
    SignalLog log;
    QSignalSpy iconSpy(app(), &WardletApp::showIconChanged);

    QVERIFY(deliver(body));
    QCOMPARE(log.entries, expected);
    QCOMPARE(iconSpy.count(), expected.filter(QStringLiteral("ShowIcon=")).size());
}

void TestKvsStatusService::statusReportTruncated()
{
    const QByteArray full = fullStatus();
    for (int length = 0; length <= full.size(); ++length) {
        resetApplication();
        app()->setVGStatus(VGDisabled);
        SignalLog log;
        QVERIFY(deliver(full.left(length)));

        QStringList expected;
        if (length >= 4) {
            expected << (length >= 8 ? "VGStatus=Enabled" : "VGStatus=Malfunctioning");
            if (length >= 12)
                expected << "KVSStatus=Running";
            expected << (length >= 16 ? "NRAllowed=true" : "NRAllowed=false");
            if (length >= 20)
                expected << "ShowIcon=false";
        }
        QVERIFY2(log.entries == expected,
                 qPrintable(
                     QStringLiteral("length %1: %2").arg(length).arg(log.entries.join(QLatin1String(", ")))));
    }
}

void TestKvsStatusService::versionsReport_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QStringList>("expected");

    const QByteArray texts = text("1.2.3") + text("4.5") + text("defs");
    const QStringList textEntries{"Product=1.2.3", "Engine=4.5", "Defs=defs"};
    const QString march14 = dateText(2011, 3, 14);

    QTest::newRow("texts and date") << fullVersions()
                                    << textEntries + QStringList{"Defs=" + march14 + " rev. 7"};
    QTest::newRow("waiting for update")
        << be32(5) + texts + words({14, 3, 0, 7}) << textEntries + QStringList{"Defs=Waiting for update"};
    QTest::newRow("no date") << be32(5) + texts << textEntries;
    QTest::newRow("date one byte short")
        << be32(5) + texts + words({14, 3, 2011}) + QByteArray(3, '\0') << textEntries;
    QTest::newRow("date without texts")
        << words({5, 0, 0, 0, 14, 3, 2011, 7}) << QStringList{"Defs=" + march14 + " rev. 7"};
    QTest::newRow("negative revision") << be32(5) + texts + words({14, 3, 2011, quint32(-2)})
                                       << textEntries + QStringList{"Defs=" + march14 + " rev. -2"};
    QTest::newRow("invalid date") << be32(5) + texts + words({31, 2, 2011, 3})
                                  << textEntries + QStringList{"Defs= rev. 3"};
    QTest::newRow("month zero") << be32(5) + texts + words({1, 0, 2011, 3})
                                << textEntries + QStringList{"Defs= rev. 3"};
    QTest::newRow("year beyond int") << be32(5) + texts + words({1, 1, 0x80000000u, 1})
                                     << textEntries + QStringList{"Defs= rev. 1"};
    QTest::newRow("year all ones") << be32(5) + texts + words({1, 1, 0xFFFFFFFFu, 1})
                                   << textEntries + QStringList{"Defs= rev. 1"};
    QTest::newRow("day beyond int") << be32(5) + texts + words({0x80000001u, 1, 2011, 1})
                                    << textEntries + QStringList{"Defs= rev. 1"};

    QTest::newRow("first count past the body")
        << be32(5) + be32(1000) + text("7.8") + text("defs") << QStringList{"Engine=7.8", "Defs=defs"};
    QTest::newRow("largest count") << be32(5) + be32(0x7FFFFFFF) + text("7.8") + text("defs")
                                   << QStringList{"Engine=7.8", "Defs=defs"};
    QTest::newRow("count 0") << be32(5) + be32(0) + text("7.8") + text("defs")
                             << QStringList{"Engine=7.8", "Defs=defs"};
    QTest::newRow("count -1") << be32(5) + be32(quint32(-1)) + text("7.8") + text("defs")
                              << QStringList{"Engine=7.8", "Defs=defs"};
    QTest::newRow("count 1") << be32(5) + be32(1) + QByteArray(1, '\0') + text("4.5") + text("defs")
                             << QStringList{"Product=", "Engine=4.5", "Defs=defs"};
    QTest::newRow("last count fills the body")
        << be32(5) + text("1") + text("2") + text("3") << QStringList{"Product=1", "Engine=2", "Defs=3"};
    QTest::newRow("last count one past the body")
        << be32(5) + text("1") + text("2") + be32(3) + "3" + '\0' << QStringList{"Product=1", "Engine=2"};
    QTest::newRow("three bytes after a text")
        << be32(5) + text("1") + QByteArray(3, '\0') << QStringList{"Product=1"};
    QTest::newRow("last byte dropped whatever it is")
        << be32(5) + be32(3) + "abX" << QStringList{"Product=ab"};
    QTest::newRow("UTF-8") << be32(5) + text("\xC3\xA9t\xC3\xA9")
                           << QStringList{QString::fromUtf8("Product=été")};
    QTest::newRow("messageId only") << be32(5) << QStringList();
}

void TestKvsStatusService::versionsReport()
{
    QFETCH(QByteArray, body);
    QFETCH(QStringList, expected);

    SignalLog log;
    QVERIFY(deliver(body));
    QCOMPARE(log.entries, expected);
    const QStringList defs = expected.filter(QRegularExpression(QStringLiteral("^Defs=")));
    QCOMPARE(app()->getDefsVersion(), defs.isEmpty() ? QStringLiteral("?") : defs.last().mid(5));
}

void TestKvsStatusService::versionsReportTruncated()
{
    const QByteArray full = fullVersions();
    const QStringList complete{"Product=1.2.3", "Engine=4.5", "Defs=defs",
                               "Defs=" + dateText(2011, 3, 14) + " rev. 7"};
    QList<int> ends;
    for (const QByteArray& piece : versionsPieces())
        ends << (ends.isEmpty() ? 0 : ends.last()) + piece.size();

    for (int length = 0; length <= full.size(); ++length) {
        resetApplication();
        SignalLog log;
        QVERIFY(deliver(full.left(length)));
        QStringList expected;
        for (int i = 0; i < ends.size(); ++i) {
            if (length >= ends.at(i))
                expected << complete.at(i);
        }
        QVERIFY2(log.entries == expected,
                 qPrintable(
                     QStringLiteral("length %1: %2").arg(length).arg(log.entries.join(QLatin1String(", ")))));
    }
}

void TestKvsStatusService::scanStatusReport_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<int>("before");
    QTest::addColumn<QStringList>("expected");

    QTest::newRow("scanning files") << words({7, 8}) << 0 << QStringList{"ScanStatus=Scanning files"};
    QTest::newRow("never run") << words({7, 9}) << 0 << QStringList{"ScanStatus=Done"};
    QTest::newRow("unchanged") << words({7, 8}) << 8 << QStringList();
    QTest::newRow("trailing bytes") << words({7, 4, 8}) << 0 << QStringList{"ScanStatus=Done"};
    QTest::newRow("no status word") << be32(7) << 8 << QStringList{"ScanStatus=Unknown status"};
    QTest::newRow("status word cut short")
        << be32(7) + QByteArray::fromHex("000008") << 8 << QStringList{"ScanStatus=Unknown status"};
}

void TestKvsStatusService::scanStatusReport()
{
    QFETCH(QByteArray, body);
    QFETCH(int, before);
    QFETCH(QStringList, expected);

    app()->setScanStatus(before);
    SignalLog log;
    QVERIFY(deliver(body));
    QCOMPARE(log.entries, expected);
}

void TestKvsStatusService::ignoredMessages_data()
{
    QTest::addColumn<QByteArray>("body");

    const QByteArray payload
        = words({1, 1, 1, 0}) + text("x") + text("y") + text("z") + words({1, 1, 2011, 1});
    for (quint32 id : {0u, 1u, 4u, 6u, 8u, 9u, 24u, 32u, 0x100u, 0x02000000u, 0xFFFFFFFFu})
        QTest::newRow(qPrintable(QStringLiteral("id %1").arg(id))) << be32(id) + payload;
    QTest::newRow("empty body") << QByteArray();
    QTest::newRow("status id cut short") << QByteArray::fromHex("000000");
    QTest::newRow("alert without record") << be32(3);
}

void TestKvsStatusService::ignoredMessages()
{
    QFETCH(QByteArray, body);

    app()->setVGStatus(VGDisabled);
    SignalLog log;
    QVERIFY(deliver(body));
    QCOMPARE(log.entries, QStringList());
}

void TestKvsStatusService::alertReachesTheApplication()
{
    QSignalSpy countSpy(app(), &WardletApp::alertCountChanged);
    QVERIFY(deliver(be32(3) + be32(1300000000)));
    QVERIFY(deliver(be32(3) + QByteArray(1, '\0')));
    QVERIFY(deliver(be32(3) + fullAlert()));

    QList<int> counts;
    for (const QList<QVariant>& arguments : countSpy)
        counts << arguments.at(0).toInt();
    QCOMPARE(counts, QList<int>({1, 2, 3}));
}

void TestKvsStatusService::alertRecordIsHandedOver_data()
{
    QTest::addColumn<QByteArray>("record");

    QTest::newRow("one byte") << QByteArray(1, '\x7F');
    QTest::newRow("time only") << be32(1300000000);
    QTest::newRow("whole record") << fullAlert();
}

void TestKvsStatusService::alertRecordIsHandedOver()
{
    QFETCH(QByteArray, record);

    AlertCatcher catcher(app());
    MessageProcessor processor(&_transport);
    processor.registerService(&catcher);
    QSignalSpy countSpy(app(), &WardletApp::alertCountChanged);
    QVERIFY(::deliver(processor, catcher, be32(3) + record));
    QCOMPARE(countSpy.count(), 0);
    QCOMPARE(catcher.records, QList<QByteArray>{record});
}

void TestKvsStatusService::parseAlert_data()
{
    QTest::addColumn<QByteArray>("record");
    QTest::addColumn<QStringList>("expected");

    const QStringList defaults = defaultAlertFields();
    QStringList timeOnly = defaults;
    timeOnly[0] = QStringLiteral("1300000000");

    QTest::newRow("empty") << QByteArray() << defaults;
    QTest::newRow("three bytes") << QByteArray::fromHex("4d7c6d") << defaults;
    QTest::newRow("time only") << be32(1300000000) << timeOnly;

    QStringList beforeEpoch = defaults;
    beforeEpoch[0] = QStringLiteral("-1");
    QTest::newRow("time before the epoch") << be32(0xFFFFFFFFu) << beforeEpoch;

    QTest::newRow("whole record") << fullAlert() << QStringList{"1300000000"} + AlertTexts;

    QStringList counts = timeOnly;
    counts[1] = QLatin1String("");
    counts[4] = QStringLiteral("p");
    QTest::newRow("counts 1, 0 and -1")
        << be32(1300000000) + be32(1) + '\0' + be32(0) + be32(quint32(-1)) + text("p") << counts;

    QStringList overrun = timeOnly;
    overrun[1] = QStringLiteral("l");
    QTest::newRow("count past the end spoils the rest")
        << be32(1300000000) + text("l") + be32(100) + text("e") + text("v") + text("p") << overrun;
    QTest::newRow("three bytes after a field")
        << be32(1300000000) + text("l") + QByteArray(3, '\0') << overrun;

    QStringList exact = timeOnly;
    exact[1] = QStringLiteral("l");
    exact[2] = QStringLiteral("e");
    QTest::newRow("last count fills the record") << be32(1300000000) + text("l") + text("e") << exact;

    QStringList lastByte = timeOnly;
    lastByte[1] = QString::fromUtf8("\xC3\xA9");
    QTest::newRow("last byte dropped whatever it is") << be32(1300000000) + be32(3) + "\xC3\xA9X" << lastByte;
}

void TestKvsStatusService::parseAlert()
{
    QFETCH(QByteArray, record);
    QFETCH(QStringList, expected);

    const auto* data = reinterpret_cast<const unsigned char*>(record.constData());
    QCOMPARE(alertFields(KvsStatusService::parseAlert(data, record.size())), expected);
}

void TestKvsStatusService::parseAlertTruncated()
{
    const QByteArray full = fullAlert();
    for (int length = 0; length <= full.size(); ++length) {
        // A copy of just the prefix, so that reading past it is caught.
        const std::unique_ptr<unsigned char[]> prefix(new unsigned char[size_t(length)]);
        std::memcpy(prefix.get(), full.constData(), size_t(length));

        QStringList expected = defaultAlertFields();
        if (length >= 4)
            expected[0] = QStringLiteral("1300000000");
        int end = 4;
        for (int i = 0; i < AlertTexts.size(); ++i) {
            end += 4 + AlertTexts.at(i).size() + 1;
            if (length >= end)
                expected[i + 1] = AlertTexts.at(i);
        }
        QCOMPARE(alertFields(KvsStatusService::parseAlert(prefix.get(), length)), expected);
    }
}

int main(int argc, char** argv)
{
    // The expected texts are C-locale, UTC renderings; the application picks the locale up.
    qputenv("LC_ALL", "C");
    qputenv("TZ", "UTC");
    tzset();
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    // Status reports save the icon setting; the user's own settings stay out of reach.
    QTemporaryDir config;
    if (!config.isValid())
        return 1;
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(config.path()));

    WardletApp application(argc, argv);
    application.initialize();
    TestKvsStatusService test;
    return QTest::qExec(&test, argc, argv);
}

#include "TestKvsStatusService.moc"
