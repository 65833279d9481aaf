#include "messaging/LogThrottle.h"
#include "SyslogCapture.h"

#include <QtTest>

class TestLogThrottle final : public QObject
{
    Q_OBJECT

private slots:
    // However often it happens, a window holds one line, with the count it stands for; the
    // first is not held back, and the last is not lost when the program ends.
    void oneLineAWindow()
    {
        SyslogCapture log;
        {
            LogThrottle throttle("dropped %d thing(s)", 200);
            throttle.record(3, "first");
            for (int i = 0; i < 500; ++i)
                throttle.record(1, "later " + QByteArray(300, 'x'));
            QCOMPARE(log.text().count("dropped"), 1);
            QVERIFY(log.text().contains("dropped 3 thing(s): first"));
            QTRY_COMPARE(log.text().count("dropped"), 2);
            QVERIFY(log.text().contains("dropped 500 thing(s): later " + QByteArray(194, 'x') + "\n"));
            throttle.record();
            throttle.record();
        }
        QVERIFY(log.text().endsWith("dropped 2 thing(s)\n"));
    }
};

QTEST_GUILESS_MAIN(TestLogThrottle)
#include "TestLogThrottle.moc"
