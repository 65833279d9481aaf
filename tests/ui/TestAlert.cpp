#include "ui/Alert.h"

#include <QtTest>

#include <ctime>

using qelUI::Alert;

namespace {

// Every field distinct; one holds template syntax, which must come out as it is, and one text
// beyond Latin-1.
Alert filledAlert()
{
    Alert alert;
    alert.fieldA = QStringLiteral("quarantined");
    alert.fieldC = QStringLiteral("trojan");
    alert.fieldE = QStringLiteral("engine 7.2");
    alert.fieldF = QStringLiteral("/home/ana/setup.exe");
    alert.fieldL = QStringLiteral("on access");
    alert.fieldN = QStringLiteral("ana");
    alert.fieldP = QStringLiteral("/usr/bin/wget");
    alert.fieldS = QStringLiteral("réseau Ωmega");
    alert.fieldV = QStringLiteral("Test.~V\\n");
    alert.time = 1300000000;
    return alert;
}

void row(const char* name, const QString& format, const QString& expected)
{
    QTest::newRow(name) << format << expected;
}

void setZone(const char* zone)
{
    qputenv("TZ", zone);
    tzset();
}

} // namespace

class TestAlert : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        // Every ~T reads the locale from the environment again; pin it so the expected text holds anywhere.
        qputenv("LC_ALL", "C");
        setZone("UTC");
    }

    void expandsTemplate_data()
    {
        QTest::addColumn<QString>("format");
        QTest::addColumn<QString>("expected");
        const Alert a = filledAlert();
        const QString letters = QStringLiteral("ACEFLNUPSVT");
        QStringList values;
        values << a.fieldA << a.fieldC << a.fieldE << a.fieldF << a.fieldL << a.fieldN << a.fieldN << a.fieldP
               << a.fieldS << a.fieldV << "Sun Mar 13 07:06:40 2011";
        for (int i = 0; i < letters.size(); ++i) {
            for (const QChar letter : {letters[i], letters[i].toLower()})
                row(qPrintable(QStringLiteral("~") + letter), "<~" + QString(letter) + ">",
                    "<" + values[i] + ">");
        }
        const QString crlf = QStringLiteral("\r\n");
        row("\\r\\n is one line end", "a\\r\\nb\\R\\Nc", "a" + crlf + "b" + crlf + "c");
        row("\\n\\n", "\\n\\n", crlf + crlf);
        row("\\r\\r", "\\r\\r", crlf + crlf);
        row("text between \\r and \\n", "\\rx\\n", crlf + "x" + crlf);
        row("field between \\r and \\n", "\\r~A\\n", crlf + a.fieldA + crlf);
        row("\\t", "a\\tb\\Tc", "a\tb\tc");
        row("~~F", "~~F", "~" + a.fieldF);
        row("trailing ~", "x~", "x~");
        row("trailing \\", "x\\", "x\\");
        // Neither is an escape here: it is copied, and what follows it is read afresh.
        row("~ before \\t", "~\\t", "~\t");
        row("\\ before ~A", "\\~A", "\\" + a.fieldA);
        row("one character", "A", "A");
        row("empty", "", "");
        row("last above U+00FF", QString(QChar(0x100)) + "~A" + QChar(0x100), QChar(0x100) + a.fieldA);
        row("last U+00FF", "~A" + QString(QChar(0xFF)), a.fieldA + QChar(0xFF));
        row("last U+0000", QStringLiteral("a") + QChar(0) + "b" + QChar(0),
            QStringLiteral("a") + QChar(0) + "b");
    }

    // Output starts stale, as a caller reusing its string would pass it.
    void expandsTemplate()
    {
        QFETCH(QString, format);
        QFETCH(QString, expected);
        Alert alert = filledAlert();
        alert.format = format;
        QString out = QStringLiteral("stale");
        alert.formatMessage(out);
        QCOMPARE(out, expected);
        QVERIFY(!out.isNull());
    }

    // The daemon's times are shown in the user's zone, not in UTC.
    void timeFollowsLocalZone()
    {
        setZone("JST-9");
        Alert alert = filledAlert();
        alert.format = QStringLiteral("~T");
        QString out;
        alert.formatMessage(out);
        setZone("UTC");
        QCOMPARE(out, QStringLiteral("Sun Mar 13 16:06:40 2011"));
    }

    // A default record has no time and null fields, and neither leaves a trace in the text.
    void defaultRecordLeavesNoTrace()
    {
        Alert alert;
        QCOMPARE(alert.time, time_t(0));
        for (const QString* field :
             {&alert.fieldA, &alert.fieldC, &alert.fieldE, &alert.fieldF, &alert.fieldL, &alert.fieldN,
              &alert.fieldP, &alert.fieldS, &alert.fieldV})
            QVERIFY(field->isNull());
        QVERIFY(alert.format.isEmpty() && !alert.format.isNull());
        QString out;
        alert.formatMessage(out);
        QVERIFY(out.isEmpty() && !out.isNull());
        alert.format = QStringLiteral("<~A~a~C~c~E~e~F~f~L~l~N~n~U~u~P~p~S~s~V~v~T~t>\\r~A\\n");
        alert.formatMessage(out);
        QCOMPARE(out, QStringLiteral("<>\r\n\r\n"));
    }
};

QTEST_GUILESS_MAIN(TestAlert)
#include "TestAlert.moc"
