#include "messaging/LogThrottle.h"
#include "UnexpectedWarnings.h"

#include <QSignalSpy>
#include <QtTest>

Q_LOGGING_CATEGORY(lcTest, "wardlet.test")

class TestLogThrottle final : public QObject
{
    Q_OBJECT

private slots:
    void init() { failOnUnexpectedWarnings(); }

    // A window holds one line with its count; the first is not held back, the last not lost.
    void oneLineAWindow()
    {
        LogThrottle throttle(lcTest(), "dropped %d thing(s)", 200);
        QSignalSpy windowEnd(throttle.findChild<QTimer*>(), &QTimer::timeout);
        QTest::ignoreMessage(QtWarningMsg, "dropped 3 thing(s): first");
        throttle.record(3, "first");
        for (int i = 0; i < 500; ++i)
            throttle.record(1, "later " + QByteArray(300, 'x'));
        QTest::ignoreMessage(QtWarningMsg,
                             ("dropped 500 thing(s): later " + QByteArray(194, 'x')).constData());
        QVERIFY(windowEnd.wait());
        throttle.record();
        throttle.record();
        QTest::ignoreMessage(QtWarningMsg, "dropped 2 thing(s)");
        QVERIFY(windowEnd.wait());
        // A window with nothing to tell ends the holding back, and the waking up.
        QVERIFY(windowEnd.wait() && !throttle.findChild<QTimer*>()->isActive());
    }
};

QTEST_GUILESS_MAIN(TestLogThrottle)
#include "TestLogThrottle.moc"
