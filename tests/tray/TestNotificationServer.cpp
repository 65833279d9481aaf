#include "NotificationStub.h"
#include "tray/NotificationServer.h"
#include "UnexpectedWarnings.h"

#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

class TestNotificationServer final : public QObject
{
    Q_OBJECT

    QTemporaryDir m_config;
    std::optional<PrivateBus> m_bus;

    // The id the server answered, or -1 while it has not.
    static void send(NotificationServer& server, const QString& body, qint64& id)
    {
        id = -1;
        server.notify({QStringLiteral("Summary"), body, QStringLiteral("x-wardlet.test"), 7}, &server,
                      [&id](uint shown) { id = shown; });
    }

    static constexpr const char* Missing = "no notification server on the session bus "
                                           "(org.freedesktop.DBus.Error.ServiceUnknown); none is shown "
                                           "until one answers";

private slots:
    void initTestCase()
    {
        QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, m_config.path());
        m_bus.emplace();
    }

    void init() { failOnUnexpectedWarnings(); }

    // The whole call is checked end to end against a real server; here the body, for servers
    // that read markup and those that do not.
    void bodyIsPlainText_data()
    {
        QTest::addColumn<bool>("markup");
        QTest::addColumn<QString>("sent");
        QTest::newRow("plain server") << false << "<b>a & b</b>\n\"c\"";
        QTest::newRow("markup server") << true << "&lt;b&gt;a &amp; b&lt;/b&gt;\n\"c\"";
    }

    void bodyIsPlainText()
    {
        QFETCH(bool, markup);
        QFETCH(QString, sent);
        NotificationStub stub;
        if (markup)
            stub.capabilities << QStringLiteral("body-markup");
        QVERIFY(stub.serve());
        NotificationServer server;
        qint64 id;
        send(server, QStringLiteral("<b>a & b</b>\n\"c\""), id);
        QTRY_COMPARE(id, 7);
        QCOMPARE(stub.calls.size(), 1);
        QCOMPARE(stub.calls.first().body, sent);
        QCOMPARE(stub.calls.first().replacesId, 7u);
        QVERIFY(stub.leave());
    }

    void aMissingServerIsLoggedOnceAndUsedWhenItComes()
    {
        QTest::ignoreMessage(QtWarningMsg, Missing);
        NotificationServer server;
        qint64 first, second;
        send(server, QStringLiteral("one"), first);
        send(server, QStringLiteral("two"), second);
        QTRY_COMPARE(second, 0);
        QCOMPARE(first, 0);
        send(server, QStringLiteral("three"), first);
        QTRY_COMPARE(first, 0);

        // It comes, and it reads markup: what it can do is asked anew.
        NotificationStub stub;
        stub.capabilities << QStringLiteral("body-markup");
        QVERIFY(stub.serve());
        send(server, QStringLiteral("<four>"), first);
        QTRY_COMPARE(first, 7);
        QCOMPARE(stub.calls.last().body, QStringLiteral("&lt;four&gt;"));

        // It goes, and another that reads no markup comes: logged once more, asked again.
        QVERIFY(stub.leave());
        QTest::ignoreMessage(QtWarningMsg, Missing);
        send(server, QStringLiteral("<five>"), first);
        QTRY_COMPARE(first, 0);
        NotificationStub plain(QStringLiteral("plain"));
        QVERIFY(plain.serve());
        send(server, QStringLiteral("<six>"), first);
        QTRY_COMPARE(first, 7);
        QCOMPARE(plain.calls.last().body, QStringLiteral("<six>"));
        QVERIFY(plain.leave());
    }

    void passesOnTheUsersChoice_data()
    {
        QTest::addColumn<QString>("action");
        QTest::addColumn<QString>("token");
        QTest::addColumn<uint>("tokenId");
        QTest::addColumn<bool>("invoked");
        QTest::addColumn<QByteArray>("passed");
        QTest::newRow("default with token") << "default"
                                            << "tok-1" << 1u << true << QByteArray("tok-1");
        QTest::newRow("details, no token") << "details" << QString() << 0u << true << QByteArray();
        QTest::newRow("token of another") << "default"
                                          << "tok-2" << 2u << true << QByteArray();
        QTest::newRow("token with a line end") << "default"
                                               << "a\nb" << 1u << true << QByteArray();
        QTest::newRow("token too long") << "default" << QString(256, 'a') << 1u << true << QByteArray();
        QTest::newRow("longest token")
            << "default" << QString(255, 'a') << 1u << true << QByteArray(255, 'a');
        QTest::newRow("an action not offered") << "open-file"
                                               << "tok-1" << 1u << false << QByteArray();
    }

    void passesOnTheUsersChoice()
    {
        QFETCH(QString, action);
        QFETCH(QString, token);
        QFETCH(uint, tokenId);
        QFETCH(bool, invoked);
        QFETCH(QByteArray, passed);
        NotificationStub stub;
        QVERIFY(stub.serve());
        NotificationServer server;
        QSignalSpy actions(&server, &NotificationServer::actionInvoked);
        QSignalSpy closed(&server, &NotificationServer::closed);
        if (tokenId)
            stub.sendToken(tokenId, token);
        stub.invoke(1, action);
        stub.dismiss(1);
        QVERIFY(closed.wait());
        QCOMPARE(actions.size(), invoked ? 1 : 0);
        if (invoked)
            QCOMPARE(actions.first(), QVariantList({1u, passed}));
        QCOMPARE(closed.first(), QVariantList({1u}));
        QVERIFY(stub.leave());
    }

    void takesSignalsFromTheServerOnly()
    {
        NotificationStub stub;
        QVERIFY(stub.serve());
        NotificationStub stranger(QStringLiteral("stranger"));
        NotificationServer server;
        QSignalSpy actions(&server, &NotificationServer::actionInvoked);
        QSignalSpy closed(&server, &NotificationServer::closed);
        stranger.invoke(1, QStringLiteral("default"));
        stranger.dismiss(1);
        stub.dismiss(2);
        QVERIFY(closed.wait());
        QCOMPARE(closed.first(), QVariantList({2u}));
        QCOMPARE(actions.size(), 0);
        QVERIFY(stub.leave());
    }

    void theUserCanTurnNotificationsOff()
    {
        QSettings(QSettings::UserScope, "trevanta.example", "wardlet")
            .setValue("Wardlet/Notifications", false);
        NotificationStub stub;
        QVERIFY(stub.serve());
        NotificationServer server;
        QVERIFY(!server.isEnabled());
        qint64 id;
        send(server, QStringLiteral("one"), id);
        QCOMPARE(id, 0);
        server.close(7);
        QSettings(QSettings::UserScope, "trevanta.example", "wardlet").remove("Wardlet/Notifications");
        // What reaches the stub from here on comes after anything the server might have sent.
        NotificationServer enabled;
        send(enabled, QStringLiteral("two"), id);
        QTRY_COMPARE(id, 7);
        QCOMPARE(stub.calls.size(), 1);
        QCOMPARE(stub.closed.size(), 0);
        QVERIFY(stub.leave());
    }
};

QTEST_GUILESS_MAIN(TestNotificationServer)
#include "TestNotificationServer.moc"
