#include "NotificationStub.h"
#include "tray/AlertNotice.h"
#include "tray/NotificationServer.h"

#include <QSignalSpy>
#include <QTranslator>
#include <QtTest>

class TestAlertNotice final : public QObject
{
    Q_OBJECT

    std::optional<PrivateBus> m_bus;
    std::optional<NotificationStub> m_stub;

    static Alert alert(const QString& name)
    {
        Alert alert;
        alert.fieldN = name;
        alert.format = QStringLiteral("Threat ~N found");
        return alert;
    }

    // Whether the notice holds id as its open notification: only then does the user's choice of it
    // reach the viewer.
    bool holds(AlertNotice& notice, uint id)
    {
        QSignalSpy details(&notice, &AlertNotice::detailsRequested);
        return QTest::qWaitFor([&] {
            m_stub->invoke(id, QStringLiteral("default"));
            return details.wait(20);
        });
    }

private slots:
    void initTestCase() { m_bus.emplace(); }

    void init()
    {
        m_stub.emplace();
        QVERIFY(m_stub->serve());
    }

    void cleanup()
    {
        QVERIFY(m_stub->leave());
        m_stub.reset();
    }

    void aBurstIsOneNotification()
    {
        NotificationServer server;
        AlertNotice notice(server);
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
        const NotificationStub::Call& first = m_stub->calls.at(0);
        QCOMPARE(std::make_tuple(first.replacesId, first.summary, first.body,
                                 first.hints.value("category").toString()),
                 std::make_tuple(0u, QStringLiteral("Threat detected"), QStringLiteral("Threat First found"),
                                 QStringLiteral("x-wardlet.threat")));
        const NotificationStub::Call& update = m_stub->calls.at(1);
        QCOMPARE(
            std::make_tuple(update.replacesId, update.summary, update.body),
            std::make_tuple(1u, QStringLiteral("51 threats detected"), QStringLiteral("Threat T50 found")));

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
        QCOMPARE(std::make_pair(m_stub->calls.last().replacesId, m_stub->calls.last().summary),
                 std::make_pair(0u, QStringLiteral("Threat detected")));
        m_stub->answerHeld();
        m_stub->invoke(1, QStringLiteral("default"));
        m_stub->invoke(2, QStringLiteral("default"));
        QTRY_COMPARE(details.size(), 2);
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
            QVERIFY(holds(notice, 1));
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
        const NotificationStub::Call& call = m_stub->calls.last();
        QCOMPARE(
            std::make_tuple(call.replacesId, call.summary, call.body),
            std::make_tuple(0u, QStringLiteral("Threat detected"), QStringLiteral("Threat Third found")));
    }

    void germanSummaries()
    {
        QTranslator german;
        QVERIFY(german.load(QStringLiteral("wardlet_de"), QStringLiteral(TRANSLATIONS_DIR)));
        QCoreApplication::installTranslator(&german);
        NotificationServer server;
        AlertNotice notice(server);
        m_stub->holdAnswers = true;
        notice.alertRaised(alert("First"), 1);
        QTRY_COMPARE(m_stub->calls.size(), 1);
        notice.alertRaised(alert("Second"), 2);
        notice.alertRaised(alert("Third"), 3);
        m_stub->answerHeld();
        QTRY_COMPARE(m_stub->calls.size(), 2);
        QCoreApplication::removeTranslator(&german);
        QCOMPARE(m_stub->calls.first().summary, QStringLiteral("Bedrohung erkannt"));
        QCOMPARE(m_stub->calls.last().summary, QStringLiteral("3 Bedrohungen erkannt"));
    }

    void withoutAServerTheNextAlertTriesAgain()
    {
        QVERIFY(m_stub->leave());
        NotificationServer server;
        AlertNotice notice(server);
        notice.alertRaised(alert("Lost"), 1);
        QTest::qWait(100);
        QVERIFY(m_stub->serve());
        notice.alertRaised(alert("Shown"), 2);
        QTRY_COMPARE(m_stub->calls.size(), 1);
        QCOMPARE(m_stub->calls.first().summary, QStringLiteral("Threat detected"));
    }
};

QTEST_GUILESS_MAIN(TestAlertNotice)
#include "TestAlertNotice.moc"
