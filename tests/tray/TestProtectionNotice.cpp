#include "NotificationStub.h"
#include "tray/NotificationServer.h"
#include "tray/ProtectionNotice.h"

#include <QSignalSpy>
#include <QtTest>

namespace {

constexpr int LossDelay = 200;
const QString NotRunning = QStringLiteral("Not protected: the scanner is not running.");

} // namespace

class TestProtectionNotice final : public QObject
{
    Q_OBJECT

    std::optional<PrivateBus> m_bus;
    std::optional<NotificationStub> m_stub;
    QString m_reason = NotRunning;
    std::function<QString()> reason()
    {
        return [this] {
            return m_reason;
        };
    }

private slots:
    void initTestCase() { m_bus.emplace(); }

    void init()
    {
        m_reason = NotRunning;
        m_stub.emplace();
        QVERIFY(m_stub->serve());
    }

    void cleanup()
    {
        QVERIFY(m_stub->leave());
        m_stub.reset();
    }

    void aLastingLossIsToldUntilProtectionReturns()
    {
        NotificationServer server;
        ProtectionNotice notice(server, reason(), LossDelay);
        QSignalSpy details(&notice, &ProtectionNotice::detailsRequested);
        notice.setUnprotected();
        notice.setUnprotected();
        QTRY_COMPARE(m_stub->calls.size(), 1);
        const NotificationStub::Call& call = m_stub->calls.first();
        QCOMPARE(std::make_tuple(call.replacesId, call.summary, call.body,
                                 call.hints.value("category").toString()),
                 std::make_tuple(0u, QStringLiteral("This computer is not protected"), NotRunning,
                                 QStringLiteral("x-wardlet.unprotected")));

        // The reason changes: the one notification says so.
        m_reason = QStringLiteral("Not protected: another program holds the address.");
        notice.reasonChanged();
        QTRY_COMPARE(m_stub->calls.size(), 2);
        QCOMPARE(std::make_pair(m_stub->calls.last().replacesId, m_stub->calls.last().body),
                 std::make_pair(1u, QStringLiteral("Not protected: another program holds the address.")));

        m_stub->invoke(1, QStringLiteral("default"));
        QVERIFY(details.wait());
        notice.setProtected();
        QTRY_COMPARE(m_stub->closed, QVector<uint>({1}));
    }

    void aDismissedNoticeStaysAwayForThatLoss()
    {
        NotificationServer server;
        ProtectionNotice notice(server, reason(), LossDelay);
        notice.setUnprotected();
        QTRY_COMPARE(m_stub->calls.size(), 1);
        m_stub->dismiss(1);
        QTest::qWait(50);
        m_reason = QStringLiteral("Another reason.");
        notice.reasonChanged();
        QTest::qWait(2 * LossDelay);
        QCOMPARE(m_stub->calls.size(), 1);
        notice.setProtected();
        QCOMPARE(m_stub->closed.size(), 0);
        // The next loss is told again.
        notice.setUnprotected();
        QTRY_COMPARE(m_stub->calls.size(), 2);
    }

    void protectionReturningWhileTheServerAnswers()
    {
        NotificationServer server;
        ProtectionNotice notice(server, reason(), LossDelay);
        m_stub->holdAnswers = true;
        notice.setUnprotected();
        QTRY_COMPARE(m_stub->calls.size(), 1);
        notice.setProtected();
        m_stub->answerHeld();
        QTRY_COMPARE(m_stub->closed, QVector<uint>({1}));
    }
};

QTEST_GUILESS_MAIN(TestProtectionNotice)
#include "TestProtectionNotice.moc"
