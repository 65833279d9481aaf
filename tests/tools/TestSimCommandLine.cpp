#include "CommandLine.h"

#include <QTest>

namespace {

void row(const char* name, const QString& line, const QStringList& words)
{
    QTest::newRow(name) << line << words;
}

} // namespace

class TestSimCommandLine final : public QObject
{
    Q_OBJECT

private slots:
    void split_data()
    {
        QTest::addColumn<QString>("line");
        QTest::addColumn<QStringList>("words");
        row("blank", " \t ", {});
        row("comment", "vg 0 # off", {"vg", "0"});
        row("hash inside a word", "policy PN#42", {"policy", "PN#42"});
        row("spaces", "  server   online\t10.0.0.1 ", {"server", "online", "10.0.0.1"});
        row("quoted", "location \"#1\" \"Head  office\"", {"location", "#1", "Head  office"});
        row("empty quotes", "location \"\"", {"location", ""});
        row("doubled quote", "group \"say \"\"hi\"\"\"", {"group", "say \"hi\""});
        row("quote inside a word", "x F=\"/tmp/a b\"", {"x", "F=/tmp/a b"});
        row("backslashes as typed", "x \"a\\r\\nb\\\\\"", {"x", "a\\r\\nb\\\\"});
        row("unterminated quote", "group \"open", {"error: unterminated quote"});
    }

    void split()
    {
        QFETCH(QString, line);
        QFETCH(QStringList, words);
        // Filled beforehand, so that words from an earlier line would show.
        QStringList result{"left over"};
        QString error;
        QCOMPARE(CommandLine::split(line, result, error) ? result : QStringList{"error: " + error}, words);

        // The status output quotes each word so that reading it back as a command gives the same words.
        QStringList quoted;
        for (const QString& word : result)
            quoted << CommandLine::quote(word);
        QStringList again;
        QVERIFY(CommandLine::split(quoted.join(QLatin1Char(' ')), again, error));
        QCOMPARE(again, result);
    }
};

QTEST_GUILESS_MAIN(TestSimCommandLine)
#include "TestSimCommandLine.moc"
