#include "messaging/SequenceCounter.h"

#include <QtTest>

class TestSequenceCounter : public QObject
{
    Q_OBJECT

private slots:
    void countsFromOne()
    {
        SequenceCounter counter;
        QCOMPARE(counter.next(), 1);
        QCOMPARE(counter.next(), 2);
    }

    void wrapsToOneAndNeverYieldsZero()
    {
        SequenceCounter counter(INT_MAX - 1);
        QCOMPARE(counter.next(), INT_MAX - 1);
        QCOMPARE(counter.next(), INT_MAX);
        QCOMPARE(counter.next(), 1);
        QCOMPARE(counter.next(), 2);
    }
};

QTEST_GUILESS_MAIN(TestSequenceCounter)
#include "TestSequenceCounter.moc"
