#include "NotificationStub.h"
#include "tray/NotificationServer.h"
#include "tray/ProtectionNotice.h"

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QtTest>

namespace {

constexpr int LossDelay = 300;
const QString NotRunning = QStringLiteral("Not protected: the scanner is not running.");
const QString Told = QStringLiteral("%1 x-wardlet.unprotected This computer is not protected: ");

} // namespace

class TestProtectionNotice final : public NotificationTest
{
    Q_OBJECT

private slots:
    // A start without the daemons is a loss like any other.
    void aLossFromTheStartIsTold()
    {
        NotificationServer server;
        ProtectionNotice notice(
            server, [] { return NotRunning; }, LossDelay);
        notice.setUnprotected();
        QTRY_COMPARE(m_stub->calls, QStringList{Told.arg(0) + NotRunning});
    }

    void aLastingLossIsToldUntilProtectionReturns()
    {
        QString reason = NotRunning;
        NotificationServer server;
        ProtectionNotice notice(
            server, [&reason] { return reason; }, LossDelay);
        QSignalSpy details(&notice, &ProtectionNotice::detailsRequested);
        QSignalSpy closed(&server, &NotificationServer::closed);
        // Daemons restarting tell nothing, the second time with the first loss's check still due.
        notice.setUnprotected();
        QTest::qWait(LossDelay / 2);
        notice.setProtected();
        QTest::qWait(LossDelay);
        notice.setUnprotected();
        QTest::qWait(LossDelay / 2);
        notice.setProtected();
        QElapsedTimer lost;
        lost.start();
        notice.setUnprotected();
        notice.setUnprotected();
        QTRY_COMPARE(m_stub->calls.size(), 1);
        QVERIFY(lost.elapsed() >= LossDelay);
        QCOMPARE(m_stub->calls.last(), Told.arg(0) + NotRunning);

        // The reason changes: the one notification says so.
        reason = QStringLiteral("Not protected: another program holds the address.");
        notice.reasonChanged();
        QTRY_COMPARE(m_stub->calls.size(), 2);
        QCOMPARE(m_stub->calls.last(), Told.arg(1) + "Not protected: another program holds the address.");

        m_stub->invoke(1, QStringLiteral("default"));
        QVERIFY(details.wait());
        notice.setProtected();
        QTRY_COMPARE(m_stub->closed, QVector<uint>({1}));

        // The next loss is told anew. Dismissed, it stays away for that loss.
        notice.setUnprotected();
        QTRY_COMPARE(m_stub->calls.size(), 3);
        m_stub->dismiss(2);
        QTRY_COMPARE(closed.size(), 2);
        reason = QStringLiteral("Another reason.");
        notice.reasonChanged();
        notice.setProtected();
        // The loss after it is the first thing the server hears since.
        reason = NotRunning;
        notice.setUnprotected();
        QTRY_COMPARE(m_stub->calls.size(), 4);
        QCOMPARE(m_stub->calls.last(), Told.arg(0) + NotRunning);
        QCOMPARE(m_stub->closed, QVector<uint>({1}));
    }
};

QTEST_GUILESS_MAIN(TestProtectionNotice)
#include "TestProtectionNotice.moc"
