#include "NotificationStub.h"
#include "tray/AlertNotice.h"
#include "tray/NotificationServer.h"

#include <QSignalSpy>
#include <QTranslator>
#include <QtTest>

namespace {

Alert alert(const QString& name)
{
    Alert alert;
    alert.fieldN = name;
    alert.format = QStringLiteral("Threat ~N found");
    return alert;
}

} // namespace

class TestAlertNotice final : public NotificationTest
{
    Q_OBJECT

private slots:
    void aBurstIsOneNotification_data()
    {
        QTest::addColumn<QString>("language");
        // For one alert and for 51.
        QTest::addColumn<QStringList>("summaries");
        QTest::newRow("English") << QString() << QStringList{"Threat detected", "51 threats detected"};
        QTest::newRow("German") << "wardlet_de" << QStringList{"Bedrohung erkannt", "51 Bedrohungen erkannt"};
    }

    void aBurstIsOneNotification()
    {
        QFETCH(QString, language);
        QFETCH(QStringList, summaries);
        QTranslator translator;
        QVERIFY(language.isEmpty() || translator.load(language, QStringLiteral(TRANSLATIONS_DIR)));
        QCoreApplication::installTranslator(&translator);
        NotificationServer server;
        AlertNotice notice(server);
        // With no server the alert is lost, and the next one starts afresh.
        QVERIFY(m_stub->leave());
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("^no notification server ")));
        notice.alertRaised(alert("Lost"), 9);
        QTest::qWait(100);
        QVERIFY(m_stub->serve());
        m_stub->holdAnswers = true;
        notice.alertRaised(alert("First"), 10);
        QTRY_COMPARE(m_stub->calls.size(), 1);
        for (int i = 1; i <= 50; ++i)
            notice.alertRaised(alert(QStringLiteral("T%1").arg(i)), 10 + quint64(i));
        // One call at a time: the burst waits for the server's answer.
        QTest::qWait(50);
        QCOMPARE(m_stub->calls.size(), 1);
        m_stub->answerHeld();
        QTRY_COMPARE(m_stub->calls.size(), 2);
        m_stub->answerHeld();
        QCOMPARE(m_stub->calls,
                 QStringList({QStringLiteral("0 x-wardlet.threat %1: Threat First found").arg(summaries[0]),
                              QStringLiteral("1 x-wardlet.threat %1: Threat T50 found").arg(summaries[1])}));

        // The user chooses it: the viewer comes to the newest alert, with the server's token. Another
        // notification closing meanwhile leaves it alone.
        QSignalSpy details(&notice, &AlertNotice::detailsRequested);
        m_stub->dismiss(99);
        m_stub->sendToken(1, QStringLiteral("tok"));
        m_stub->invoke(1, QStringLiteral("default"));
        QVERIFY(details.wait());
        QCOMPARE(details.first(), QVariantList({quint64(60), QByteArray("tok")}));

        // Once it is gone, the next alert opens a new one, and the old one's id means nothing.
        QSignalSpy closed(&server, &NotificationServer::closed);
        m_stub->dismiss(1);
        QVERIFY(closed.wait());
        notice.alertRaised(alert("Later"), 61);
        QTRY_COMPARE(m_stub->calls.size(), 3);
        QCOMPARE(m_stub->calls.last(),
                 QStringLiteral("0 x-wardlet.threat %1: Threat Later found").arg(summaries[0]));
        m_stub->answerHeld();
        m_stub->invoke(1, QStringLiteral("default"));
        m_stub->invoke(2, QStringLiteral("default"));
        m_stub->dismiss(2);
        QTRY_COMPARE(closed.size(), 2);
        QCOMPARE(details.size(), 2);
        QCOMPARE(details.last().first().toULongLong(), 61u);
    }

    void closingTheViewerWithdrawsIt_data()
    {
        QTest::addColumn<bool>("answered");
        QTest::newRow("shown") << true;
        QTest::newRow("while the server answers") << false;
    }

    void closingTheViewerWithdrawsIt()
    {
        QFETCH(bool, answered);
        NotificationServer server;
        AlertNotice notice(server);
        m_stub->holdAnswers = true;
        notice.alertRaised(alert("First"), 1);
        QTRY_COMPARE(m_stub->calls.size(), 1);
        if (answered) {
            m_stub->answerHeld();
            // The server's signals come after its answer.
            m_stub->dismiss(99);
            QVERIFY(QSignalSpy(&server, &NotificationServer::closed).wait());
        }
        notice.alertRaised(alert("Second"), 2);
        // Answered, the first is updated at once; else the second waits for the answer.
        const int sent = answered ? 2 : 1;
        QTRY_COMPARE(m_stub->calls.size(), sent);
        notice.withdraw();
        notice.alertRaised(alert("Third"), 3);
        m_stub->answerHeld();
        // Closed once, and the alert after it opens a new notification.
        QTRY_COMPARE(m_stub->calls.size(), sent + 1);
        QCOMPARE(m_stub->closed, QVector<uint>({1}));
        QCOMPARE(m_stub->calls.last(),
                 QStringLiteral("0 x-wardlet.threat Threat detected: Threat Third found"));
    }
};

QTEST_GUILESS_MAIN(TestAlertNotice)
#include "TestAlertNotice.moc"
