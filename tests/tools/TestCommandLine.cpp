#include "CommandLine.h"

#include <QTest>

class TestCommandLine : public QObject
{
    Q_OBJECT

private slots:
    void split_data()
    {
        QTest::addColumn<QString>("line");
        QTest::addColumn<QStringList>("words");

        QTest::newRow("empty") << QString() << QStringList();
        QTest::newRow("blank") << QStringLiteral(" \t ") << QStringList();
        QTest::newRow("comment") << QStringLiteral("  # vg 0") << QStringList();
        QTest::newRow("trailing comment") << QStringLiteral("vg 0 # off") << QStringList{"vg", "0"};
        QTest::newRow("hash inside a word")
            << QStringLiteral("policy PN#42") << QStringList{"policy", "PN#42"};
        QTest::newRow("spaces") << QStringLiteral("  server   online\t10.0.0.1 ")
                                << QStringList{"server", "online", "10.0.0.1"};
        QTest::newRow("quoted") << QStringLiteral("location \"Head  office\"")
                                << QStringList{"location", "Head  office"};
        QTest::newRow("quoted hash") << QStringLiteral("group \"# one\"") << QStringList{"group", "# one"};
        QTest::newRow("empty quotes") << QStringLiteral("location \"\"") << QStringList{"location", ""};
        QTest::newRow("doubled quote")
            << QStringLiteral("group \"say \"\"hi\"\"\"") << QStringList{"group", "say \"hi\""};
        QTest::newRow("quote inside a word")
            << QStringLiteral("alert now x F=\"/tmp/a b\"") << QStringList{"alert", "now", "x", "F=/tmp/a b"};
        QTest::newRow("backslashes as typed")
            << QStringLiteral("alert now \"a\\r\\nb\\\\\"") << QStringList{"alert", "now", "a\\r\\nb\\\\"};
    }

    void split()
    {
        QFETCH(QString, line);
        QFETCH(QStringList, words);
        QStringList result{"left over"};
        QString error;
        QVERIFY(CommandLine::split(line, result, error));
        QCOMPARE(result, words);
    }

    void unterminatedQuote()
    {
        QStringList words;
        QString error;
        QVERIFY(!CommandLine::split(QStringLiteral("group \"open"), words, error));
        QVERIFY(!error.isEmpty());
    }

    void quoteRoundTrips_data()
    {
        QTest::addColumn<QString>("word");
        QTest::addColumn<QString>("quoted");

        QTest::newRow("plain") << QStringLiteral("PN-0042") << QStringLiteral("PN-0042");
        QTest::newRow("empty") << QString() << QStringLiteral("\"\"");
        QTest::newRow("space") << QStringLiteral("Head office") << QStringLiteral("\"Head office\"");
        QTest::newRow("quote") << QStringLiteral("a\"b") << QStringLiteral("\"a\"\"b\"");
        QTest::newRow("leading hash") << QStringLiteral("#1") << QStringLiteral("\"#1\"");
    }

    void quoteRoundTrips()
    {
        QFETCH(QString, word);
        QFETCH(QString, quoted);
        QCOMPARE(CommandLine::quote(word), quoted);
        QStringList words;
        QString error;
        QVERIFY(CommandLine::split(QStringLiteral("x ") + CommandLine::quote(word), words, error));
        QCOMPARE(words, (QStringList{"x", word}));
    }
};

QTEST_GUILESS_MAIN(TestCommandLine)
#include "TestCommandLine.moc"
