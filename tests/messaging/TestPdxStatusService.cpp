#include "messaging/PdxStatusService.h"
#include "ReportFeed.h"

#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include <time.h>

namespace {

using namespace ReportFeed;

// The management client's message ids.
constexpr quint32 PolicyNumber = 24, Group = 26, Location = 28, ServerStatus = 32, ConnectedTime = 34;

QByteArray serverRecord(quint32 id, quint32 managed, quint32 online, quint32 time, const QByteArray& server)
{
    return words({id, managed, online, time, quint32(server.size())}) + server;
}

QByteArray textReport(quint32 id, quint32 present, const QByteArray& text)
{
    return words({id, present, quint32(text.size())}) + text;
}

// The report changes exactly what is expected; with bytes lost at its end, wherever the cut, nothing.
void addReport(const char* name, const QByteArray& body, const QStringList& expected)
{
    for (int length = 0; length < body.size(); ++length)
        QTest::addRow("%s, %d bytes", name, length) << body.left(length) << QStringList();
    QTest::newRow(name) << body << expected;
}

} // namespace

class TestPdxStatusService : public QObject
{
    Q_OBJECT

private slots:
    // Each report goes through a real processor into the application's signals.
    void report_data()
    {
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QStringList>("expected");

        // 1300000000 as the C library writes it in the C locale, in UTC.
        const QString march13 = QStringLiteral("Sun Mar 13 07:06:40 2011");
        addReport("online", serverRecord(ServerStatus, 1, 1, 1300000000, "10.0.0.1"),
                  {"Server=10.0.0.1", "ConnectedTime=" + march13, "PDXStatus=Running"});
        addReport("self-managed", serverRecord(ServerStatus, 0, 1, 1300000000, "10.0.0.1"),
                  {"Server=Self-managed", "PDXStatus=Running"});
        addReport("offline", serverRecord(ServerStatus, 1, 0, 1300000000, "10.0.0.1"),
                  {"Server=Offline", "PDXStatus=Running"});
        addReport("connected time 0", serverRecord(ConnectedTime, 1, 1, 0, "10.0.0.1"), {"ConnectedTime="});
        const QByteArray abcd("ABCD\0", 5);
        addReport("policy number", textReport(PolicyNumber, 1, abcd), {"PolicyNum=ABCD"});
        // Every byte counted is kept, zero bytes included.
        addReport("group", textReport(Group, 1, abcd), {"Group=ABCD" + QString(QChar(0))});
        addReport("location", textReport(Location, 1, "here"), {"Location=here"});

        // An absent text is never read, so its count does not matter.
        QTest::newRow("policy number absent") << words({PolicyNumber, 0, 1000}) << QStringList{"PolicyNum="};
        QTest::newRow("group absent") << words({Group, 0, 1000}) << QStringList{"Group="};
        QTest::newRow("location absent") << words({Location, 0, 1000}) << QStringList{"Location="};

        QTest::newRow("group count -1") << words({Group, 1, 0xFFFFFFFFu}) + "abc" << QStringList();
        QTest::newRow("group largest count") << words({Group, 1, 0x7FFFFFFF}) + "abc" << QStringList();
        QTest::newRow("server count -1")
            << words({ServerStatus, 1, 1, 1300000000, 0xFFFFFFFFu}) + "abc" << QStringList();
        // The server's count is checked even where the server is not shown.
        QTest::newRow("self-managed, largest count")
            << words({ServerStatus, 0, 1, 1300000000, 0x7FFFFFFF}) + "abc" << QStringList();
        for (const quint32 id : {25u, 33u, 35u})
            QTest::addRow("id %u ignored", id)
                << serverRecord(id, 1, 1, 1300000000, "10.0.0.1") << QStringList();
    }

    void report()
    {
        QFETCH(QByteArray, body);
        QFETCH(QStringList, expected);

        auto* const application = qobject_cast<WardletApp*>(qApp);
        application->resetPdxStatus();
        // Texts start from a mark of our own, so that clearing one shows as a change.
        for (const auto setter :
             {&WardletApp::setServerAddress, &WardletApp::setGroupInfo, &WardletApp::setConnectedTime,
              &WardletApp::setLocationInfo, &WardletApp::setPolicyNumber})
            (application->*setter)(QStringLiteral("old"));

        PdxStatusService service(application);
        QCOMPARE(deliver(&service, 3, body), expected);
    }
};

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
    watch(&WardletApp::PDXStatusStrChanged, "PDXStatus");
    watch(&WardletApp::ServerAddressStatusChanged, "Server");
    watch(&WardletApp::GroupInfoStatusChanged, "Group");
    watch(&WardletApp::ConnectedTimeStatusChanged, "ConnectedTime");
    watch(&WardletApp::LocationInfoStatusChanged, "Location");
    watch(&WardletApp::PolicyNumStatusChanged, "PolicyNum");
    TestPdxStatusService test;
    return QTest::qExec(&test, argc, argv);
}

#include "TestPdxStatusService.moc"
