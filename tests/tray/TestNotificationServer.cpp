#include "NotificationStub.h"
#include "tray/NotificationServer.h"

#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

namespace {

const QString Body = QStringLiteral("<b>a & b</b>\n\"c\"");
constexpr const char* Missing = "no notification server on the session bus (org.freedesktop.DBus.Error."
                                "ServiceUnknown); none is shown until one answers";

// The id the server answered, or -1 while it has not.
void send(NotificationServer& server, qint64& id)
{
    id = -1;
    server.notify({QStringLiteral("Summary"), Body, QStringLiteral("x-wardlet.test"), 7}, &server,
                  [&id](uint shown) { id = shown; });
}

} // namespace

class TestNotificationServer final : public NotificationTest
{
    Q_OBJECT

    QTemporaryDir m_config;

public:
    TestNotificationServer()
    {
        QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, m_config.path());
    }

private slots:
    // The whole call is checked end to end against a real server; here the body, for a server that
    // reads markup and one that does not, each asked anew when it comes.
    void aMissingServerIsLoggedOnceAndUsedWhenItComes()
    {
        m_stub.reset();
        QTest::ignoreMessage(QtWarningMsg, Missing);
        NotificationServer server;
        qint64 first, second;
        send(server, first);
        send(server, second);
        QTRY_COMPARE(second, 0);
        QCOMPARE(first, 0);
        send(server, first);
        QTRY_COMPARE(first, 0);
        for (const bool markup : {true, false}) {
            NotificationStub stub;
            if (markup)
                stub.capabilities << QStringLiteral("body-markup");
            QVERIFY(stub.serve());
            send(server, first);
            QTRY_COMPARE(first, 7);
            QCOMPARE(stub.calls,
                     QStringList(markup ? "7 x-wardlet.test Summary: &lt;b&gt;a &amp; b&lt;/b&gt;\n\"c\""
                                        : "7 x-wardlet.test Summary: <b>a & b</b>\n\"c\""));
            // It goes: logged once more.
            QVERIFY(stub.leave());
            QTest::ignoreMessage(QtWarningMsg, Missing);
            send(server, first);
            QTRY_COMPARE(first, 0);
        }
    }

    void passesOnTheUsersChoice_data()
    {
        QTest::addColumn<QString>("action");
        QTest::addColumn<uint>("tokenId");
        QTest::addColumn<QString>("token");
        // What the choice is passed on with; empty when it is not.
        QTest::addColumn<QVariantList>("chosen");
        const QVariantList noToken{1u, QByteArray()};
        QTest::newRow("default with token")
            << "default" << 1u << "tok-1" << QVariantList{1u, QByteArray("tok-1")};
        QTest::newRow("details, no token") << "details" << 0u << QString() << noToken;
        QTest::newRow("token of another") << "default" << 2u << "tok-2" << noToken;
        QTest::newRow("token with a line end") << "default" << 1u << "a\nb" << noToken;
        QTest::newRow("token too long") << "default" << 1u << QString(256, 'a') << noToken;
        QTest::newRow("longest token")
            << "default" << 1u << QString(255, 'a') << QVariantList{1u, QByteArray(255, 'a')};
        QTest::newRow("an action not offered") << "open-file" << 1u << "tok-1" << QVariantList();
    }

    // Another sender of the same signals is no server.
    void passesOnTheUsersChoice()
    {
        QFETCH(QString, action);
        QFETCH(uint, tokenId);
        QFETCH(QString, token);
        QFETCH(QVariantList, chosen);
        NotificationStub stranger(QStringLiteral("stranger"));
        NotificationServer server;
        QSignalSpy actions(&server, &NotificationServer::actionInvoked);
        QSignalSpy closed(&server, &NotificationServer::closed);
        stranger.sendToken(1, QStringLiteral("stolen"));
        stranger.invoke(1, QStringLiteral("default"));
        stranger.dismiss(2);
        if (tokenId)
            m_stub->sendToken(tokenId, token);
        m_stub->invoke(1, action);
        m_stub->dismiss(1);
        QVERIFY(closed.wait());
        QCOMPARE(closed.first(), QVariantList({1u}));
        QCOMPARE(actions.size(), chosen.isEmpty() ? 0 : 1);
        QCOMPARE(actions.value(0), chosen);
    }

    void theUserCanTurnNotificationsOff()
    {
        QSettings(QSettings::UserScope, "trevanta.example", "wardlet")
            .setValue("Wardlet/Notifications", false);
        NotificationServer server;
        QSettings(QSettings::UserScope, "trevanta.example", "wardlet").remove("Wardlet/Notifications");
        qint64 id;
        send(server, id);
        QCOMPARE(id, 0);
        server.close(7);
        // What reaches the stub from here on comes after anything the server might have sent.
        NotificationServer enabled;
        send(enabled, id);
        QTRY_COMPARE(id, 7);
        QCOMPARE(m_stub->calls.size(), 1);
        QCOMPARE(m_stub->closed.size(), 0);
    }
};

QTEST_GUILESS_MAIN(TestNotificationServer)
#include "TestNotificationServer.moc"
