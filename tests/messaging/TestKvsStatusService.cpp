#include "messaging/KvsStatusService.h"
#include "ReportFeed.h"

#include <QDate>
#include <QFile>
#include <QLocale>
#include <QTemporaryDir>
#include <QtTest>

namespace {

using namespace ReportFeed;

// Shows each alert record it is handed as parsed, then lets the application have it as usual.
class Service : public KvsStatusService
{
public:
    using KvsStatusService::KvsStatusService;

    void handleAlert(const unsigned char* data, int length) override
    {
        const qelUI::Alert alert = parseAlert(data, length);
        // Time, the nine fields and the format; a field never set shows as "-".
        QStringList fields{QString::number(qint64(alert.time))};
        for (const QString* field :
             {&alert.fieldL, &alert.fieldE, &alert.fieldV, &alert.fieldP, &alert.fieldC, &alert.fieldS,
              &alert.fieldN, &alert.fieldA, &alert.fieldF, &alert.format})
            fields << (field->isNull() ? QStringLiteral("-") : *field);
        events << "Alert=" + fields.join('|');
        KvsStatusService::handleAlert(data, length);
    }
};

// A text the way the daemon counts it: its bytes plus a terminating zero byte.
QByteArray text(const QByteArray& value)
{
    return words({quint32(value.size() + 1)}) + value + '\0';
}

// How many of the pieces are whole in their first length bytes.
int complete(const QByteArrayList& pieces, int length)
{
    int count = 0;
    while (count < pieces.size() && (length -= pieces[count].size()) >= 0)
        ++count;
    return count;
}

} // namespace

class TestKvsStatusService : public QObject
{
    Q_OBJECT

private slots:
    // Each report goes through a real processor into the application's signals.
    void report_data()
    {
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QStringList>("expected");

        // The daemon was running before each report, so only a word read as stopped shows.
        QTest::newRow("status, three words") << QByteArray::fromHex("000000020000000100000005")
                                             << QStringList{"VGStatus=Enabled", "NRAllowed=false"};
        // A word counts only once its last byte arrived; the icon setting only from a daemon that sends it.
        const QByteArray status = words({2, VGEnabled, 1, 1, 0});
        for (int length = 0; length <= status.size(); ++length) {
            QStringList expected;
            if (length >= 4)
                expected << (length >= 8 ? "VGStatus=Enabled" : "VGStatus=Malfunctioning");
            if (length >= 4 && length < 12)
                expected << "KVSStatus=Disabled";
            if (length >= 4)
                expected << (length >= 16 ? "NRAllowed=true" : "NRAllowed=false");
            if (length >= 20)
                expected << "ShowIcon=false";
            QTest::addRow("status, %d bytes", length) << status.left(length) << expected;
        }

        // Each text, and then the date, is announced once its last byte arrived.
        const QByteArrayList pieces{words({5}) + text("1.2.3"), text("4.5"), text("defs"),
                                    words({14, 3, 2011, 7})};
        const QString date = QLocale::system().toString(QDate(2011, 3, 14), QLocale::ShortFormat);
        const QStringList entries{"Product=1.2.3", "Engine=4.5", "Defs=defs", "Defs=" + date + " rev. 7"};
        const QByteArray versions = pieces.join();
        for (int length = 0; length <= versions.size(); ++length)
            QTest::addRow("versions, %d bytes", length)
                << versions.left(length) << QStringList(entries.mid(0, complete(pieces, length)));
        const QByteArray texts = versions.chopped(16);
        const QStringList named = entries.mid(0, 3);
        QTest::newRow("versions, year 0")
            << texts + words({14, 3, 0, 7}) << named + QStringList{"Defs=Waiting for update"};
        // Values that do not fit an int are no date: they must not wrap into negative years.
        QTest::newRow("versions, year 0xFFFFFFFF")
            << texts + words({14, 3, 0xFFFFFFFFu, 7}) << named + QStringList{"Defs= rev. 7"};
        // A count that does not fit skips only itself: the next count follows right after it.
        const QByteArray next = text("7.8") + text("defs");
        for (const quint32 count : {1000u, 0x7FFFFFFFu, 0u, 0xFFFFFFFFu})
            QTest::addRow("versions, first count %d", int(count))
                << words({5, count}) + next << QStringList{"Engine=7.8", "Defs=defs"};
        QTest::newRow("versions, count 1")
            << words({5, 1}) + '\0' + text("4.5") << QStringList{"Product=", "Engine=4.5"};

        // A status word cut short reads as status 0; shorter bodies were covered above.
        for (int length = 4; length <= 8; ++length)
            QTest::addRow("scan, %d bytes", length)
                << words({7, 8}).left(length)
                << QStringList{length < 8 ? "ScanStatus=Unknown status" : "ScanStatus=Scanning files"};

        QTest::newRow("alert, counts 1, 0 and -1")
            << words({3, 1300000000, 1}) + '\0' + words({0, 0xFFFFFFFFu}) + text("p")
            << QStringList{"Alert=1300000000||-|-|p|-|-|-|-|-|", "AlertCount=1"};
        // The rest of the record cannot be trusted once a count overruns it.
        const QByteArray overrun = words({3, 1300000000}) + text("l") + words({100}) + text("e") + text("v");
        QTest::newRow("alert, count past the end")
            << overrun << QStringList{"Alert=1300000000|l|-|-|-|-|-|-|-|-|", "AlertCount=1"};
        // Whatever is cut off keeps its default; without a record there is no alert.
        const QStringList whole{
            "1300000000",    "path",    "engine", "virus",  "process",
            "command",       "scanner", "name",   "action", QString::fromUtf8("caf\xC3\xA9"),
            "%N found in %F"};
        const QStringList defaults{"0", "-", "-", "-", "-", "-", "-", "-", "-", "-", ""};
        QByteArrayList alertPieces{words({3}), words({1300000000})};
        for (const QString& value : whole.mid(1))
            alertPieces << text(value.toUtf8());
        const QByteArray alert = alertPieces.join();
        for (int length = 4; length <= alert.size(); ++length) {
            const int done = complete(alertPieces, length) - 1;
            const QString fields = (whole.mid(0, done) + defaults.mid(done)).join('|');
            QTest::addRow("alert, %d bytes", length)
                << alert.left(length)
                << (length > 4 ? QStringList{"Alert=" + fields, "AlertCount=1"} : QStringList());
        }
        // Each would announce something if it were taken for a report.
        for (const quint32 id : {1u, 4u, 6u, 8u, 9u, 0xFFFFFFFFu})
            QTest::addRow("id %u ignored", id) << words({id, 1, 1, 1, 0}) << QStringList();
    }

    void report()
    {
        QFETCH(QByteArray, body);
        QFETCH(QStringList, expected);

        auto* const application = qobject_cast<WardletApp*>(qApp);
        application->resetKvsStatus();
        application->resetAlerts();
        application->setShowIcon(true);
        // Versions start from a mark of our own, so that even an empty text shows as a change.
        for (const auto setter :
             {&WardletApp::setProductVersion, &WardletApp::setEngineVersion, &WardletApp::setDefsVersion})
            (application->*setter)(QStringLiteral("?"));
        // Start from values the reports change, so that each value a report sets shows.
        application->setVGStatus(VGDisabled);
        application->setKVSStatus(true);
        application->setScanStatus(9);

        Service service(application);
        QCOMPARE(deliver(&service, 2, body), expected);
    }
};

int main(int argc, char** argv)
{
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    // Status reports save the icon setting; the user's own settings stay out of reach.
    QTemporaryDir config;
    if (!config.isValid())
        return 1;
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(config.path()));

    WardletApp application(argc, argv);
    application.initialize();
    watch(&WardletApp::alertCountChanged, "AlertCount");
    watch(&WardletApp::VGStatusStrChanged, "VGStatus");
    watch(&WardletApp::KVSStatusStrChanged, "KVSStatus");
    watch(&WardletApp::NRAllowedChanged, "NRAllowed");
    watch(&WardletApp::ScanStatusStrChanged, "ScanStatus");
    watch(&WardletApp::productVersionChanged, "Product");
    watch(&WardletApp::engineVersionChanged, "Engine");
    watch(&WardletApp::defsVersionChanged, "Defs");
    watch(&WardletApp::showIconChanged, "ShowIcon");
    TestKvsStatusService test;
    return QTest::qExec(&test, argc, argv);
}

#include "TestKvsStatusService.moc"
