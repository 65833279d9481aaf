#include "app/Logging.h"

#include <QtTest>

#include <syslog.h>

class TestLogging final : public QObject
{
    Q_OBJECT

private slots:
    // What reaches syslog: the level kept, and one bounded line whatever the message held.
    void syslogLine_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<QString>("message");
        QTest::addColumn<int>("priority");
        QTest::addColumn<QByteArray>("line");
        QTest::newRow("debug") << int(QtDebugMsg) << "up" << LOG_DEBUG << QByteArray("up");
        QTest::newRow("info") << int(QtInfoMsg) << "été" << LOG_INFO << QByteArray("\xc3\xa9t\xc3\xa9");
        QTest::newRow("controls") << int(QtWarningMsg) << "a\nb\x1b[2Jc\td\x7f\u0085" << LOG_WARNING
                                  << QByteArray("a b [2Jc d  ");
        QTest::newRow("long") << int(QtCriticalMsg) << QString(5000, u'x') << LOG_ERR
                              << QByteArray(1024, 'x');
        QTest::newRow("pair cut") << int(QtFatalMsg) << QString(1023, u'x') + QString::fromUtf8("\U0001F600")
                                  << LOG_CRIT << QByteArray(1023, 'x');
    }

    void syslogLine()
    {
        QFETCH(int, type);
        QFETCH(QString, message);
        QFETCH(int, priority);
        QFETCH(QByteArray, line);
        QCOMPARE(Logging::priority(QtMsgType(type)), priority);
        QCOMPARE(Logging::plainLine(message), line);
    }
};

QTEST_GUILESS_MAIN(TestLogging)
#include "TestLogging.moc"
