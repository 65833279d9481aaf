#include "ui/Alert.h"

#include <QtTest>

#include <cstdlib>
#include <ctime>

using qelUI::Alert;

namespace {

const QString crlf = QStringLiteral("\r\n");

// Every field distinct, one holding template syntax and one holding text beyond Latin-1.
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
    return alert;
}

QString expand(const Alert& alert)
{
    QString out;
    alert.formatMessage(out);
    return out;
}

void setZone(const QByteArray& zone)
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
        // Every ~T resets the locale from the environment; pin it so the expected text holds anywhere.
        qputenv("LC_ALL", "C");
        setZone("UTC");
    }

    void cleanup() { setZone("UTC"); }

    void expandsTemplate_data()
    {
        QTest::addColumn<QString>("format");
        QTest::addColumn<qlonglong>("time");
        QTest::addColumn<QString>("expected");

        const Alert a = filledAlert();
        const QString when = QStringLiteral("Sun Mar 13 07:06:40 2011");
        const qlonglong at = 1300000000;
        const struct
        {
            char letter;
            QString value;
        } escapes[] = {{'A', a.fieldA}, {'C', a.fieldC}, {'E', a.fieldE}, {'F', a.fieldF},
                       {'L', a.fieldL}, {'N', a.fieldN}, {'U', a.fieldN}, {'P', a.fieldP},
                       {'S', a.fieldS}, {'V', a.fieldV}, {'T', when}};
        for (const auto& escape : escapes) {
            for (const char letter : {escape.letter, char(escape.letter - 'A' + 'a')}) {
                const QString format = QStringLiteral("~") + QLatin1Char(letter);
                QTest::newRow(qPrintable(format)) << format << at << escape.value;
                QTest::newRow(qPrintable(QStringLiteral("<%1>").arg(format)))
                    << QStringLiteral("<%1>").arg(format) << at << QStringLiteral("<%1>").arg(escape.value);
            }
        }

        QTest::newRow("all fields in a row") << QStringLiteral("~A~C~E~F~L~N~U~P~S~V") << qlonglong(0)
                                             << a.fieldA + a.fieldC + a.fieldE + a.fieldF + a.fieldL
                + a.fieldN + a.fieldN + a.fieldP + a.fieldS + a.fieldV;
        QTest::newRow("time 0 gives nothing")
            << QStringLiteral("[~T|~t]") << qlonglong(0) << QStringLiteral("[|]");

        QTest::newRow("\\r\\n is one line end")
            << QStringLiteral("~f\\r\\n~A") << qlonglong(0) << a.fieldF + crlf + a.fieldA;
        QTest::newRow("\\R\\N is one line end")
            << QStringLiteral("x\\R\\Ny") << qlonglong(0) << QStringLiteral("x\r\ny");
        QTest::newRow("\\n\\n") << QStringLiteral("\\n\\n") << qlonglong(0) << crlf + crlf;
        QTest::newRow("\\r\\r") << QStringLiteral("\\r\\r") << qlonglong(0) << crlf + crlf;
        QTest::newRow("\\r\\r\\n") << QStringLiteral("\\r\\r\\n") << qlonglong(0) << crlf + crlf;
        QTest::newRow("\\n\\r") << QStringLiteral("\\n\\r") << qlonglong(0) << crlf + crlf;
        QTest::newRow("text between \\r and \\n")
            << QStringLiteral("\\rx\\n") << qlonglong(0) << crlf + QStringLiteral("x") + crlf;
        QTest::newRow("field between \\r and \\n")
            << QStringLiteral("\\r~A\\n") << qlonglong(0) << crlf + a.fieldA + crlf;
        QTest::newRow("unknown letter between \\r and \\n")
            << QStringLiteral("\\r~Z\\n") << qlonglong(0) << crlf + QStringLiteral("~Z") + crlf;
        QTest::newRow("unknown ~ between \\r and \\n")
            << QStringLiteral("\\r~\\n") << qlonglong(0) << crlf + QStringLiteral("~") + crlf;
        QTest::newRow("\\t") << QStringLiteral("a\\tb\\Tc") << qlonglong(0) << QStringLiteral("a\tb\tc");
        QTest::newRow("\\t between \\r and \\n")
            << QStringLiteral("\\r\\t\\n") << qlonglong(0) << crlf + QStringLiteral("\t") + crlf;

        QTest::newRow("~~F") << QStringLiteral("~~F") << qlonglong(0) << QStringLiteral("~") + a.fieldF;
        QTest::newRow("~~ at the end") << QStringLiteral("x~~") << qlonglong(0) << QStringLiteral("x~~");
        QTest::newRow("trailing ~") << QStringLiteral("x~") << qlonglong(0) << QStringLiteral("x~");
        QTest::newRow("trailing \\") << QStringLiteral("x\\") << qlonglong(0) << QStringLiteral("x\\");
        QTest::newRow("~x") << QStringLiteral("~x~B~1") << qlonglong(0) << QStringLiteral("~x~B~1");
        QTest::newRow("\\q") << QStringLiteral("\\q\\a") << qlonglong(0) << QStringLiteral("\\q\\a");
        QTest::newRow("\\~A") << QStringLiteral("\\~A") << qlonglong(0) << QStringLiteral("\\") + a.fieldA;
        QTest::newRow("\\\\n") << QStringLiteral("\\\\n") << qlonglong(0) << QStringLiteral("\\") + crlf;
        QTest::newRow("~\\t") << QStringLiteral("~\\t") << qlonglong(0) << QStringLiteral("~\t");
        QTest::newRow("fields are not expanded again")
            << QStringLiteral("~V") << qlonglong(0) << QStringLiteral("Test.~V\\n");

        QTest::newRow("one character") << QStringLiteral("A") << qlonglong(0) << QStringLiteral("A");
        QTest::newRow("only ~") << QStringLiteral("~") << qlonglong(0) << QStringLiteral("~");
        QTest::newRow("only \\") << QStringLiteral("\\") << qlonglong(0) << QStringLiteral("\\");
        QTest::newRow("only U+00FF") << QString(QChar(0xFF)) << qlonglong(0) << QString(QChar(0xFF));
        QTest::newRow("only U+0100") << QString(QChar(0x100)) << qlonglong(0) << QString();
        QTest::newRow("only U+0000") << QString(QChar(0)) << qlonglong(0) << QString();
        QTest::newRow("empty") << QStringLiteral("") << qlonglong(0) << QStringLiteral("");

        const QChar omega(0x3A9);
        QTest::newRow("wide last character dropped")
            << QString(omega) + QStringLiteral("~A") + omega << qlonglong(0) << QString(omega) + a.fieldA;
        QTest::newRow("wide character after ~")
            << QStringLiteral("~") + omega + QStringLiteral("x") << qlonglong(0)
            << QStringLiteral("~") + omega + QStringLiteral("x");
        QTest::newRow("wide last character after ~")
            << QStringLiteral("x~") + omega << qlonglong(0) << QStringLiteral("x~");
        QTest::newRow("low half of a last pair dropped") << QStringLiteral("a") + QChar(0xD83D)
                + QChar(0xDE00) << qlonglong(0) << QStringLiteral("a") + QChar(0xD83D);
        QTest::newRow("pair before the end kept")
            << QStringLiteral("a") + QChar(0xD83D) + QChar(0xDE00) + QStringLiteral("b") << qlonglong(0)
            << QStringLiteral("a") + QChar(0xD83D) + QChar(0xDE00) + QStringLiteral("b");
        QTest::newRow("last U+0000 dropped")
            << QStringLiteral("ab") + QChar(0) << qlonglong(0) << QStringLiteral("ab");
        QTest::newRow("U+0000 inside kept")
            << QStringLiteral("a") + QChar(0) + QStringLiteral("b") << qlonglong(0)
            << QStringLiteral("a") + QChar(0) + QStringLiteral("b");
        QTest::newRow("last Latin-1 character kept")
            << QStringLiteral("~A") + QChar(0xE9) << qlonglong(0) << a.fieldA + QChar(0xE9);
    }

    void expandsTemplate()
    {
        QFETCH(QString, format);
        QFETCH(qlonglong, time);
        QFETCH(QString, expected);
        Alert alert = filledAlert();
        alert.format = format;
        alert.time = time_t(time);
        const QString out = expand(alert);
        QCOMPARE(out, expected);
        QVERIFY(!out.isNull());
    }

    void missingFieldsLeaveNoTrace_data()
    {
        QTest::addColumn<bool>("empty");
        QTest::newRow("null") << false;
        QTest::newRow("empty") << true;
    }

    void missingFieldsLeaveNoTrace()
    {
        QFETCH(bool, empty);
        Alert alert;
        if (empty) {
            for (QString* field : {&alert.fieldA, &alert.fieldC, &alert.fieldE, &alert.fieldF, &alert.fieldL,
                                   &alert.fieldN, &alert.fieldP, &alert.fieldS, &alert.fieldV})
                *field = QStringLiteral("");
        }
        alert.format = QStringLiteral("<~A~a~C~c~E~e~F~f~L~l~N~n~U~u~P~p~S~s~V~v~T~t>\\r~A\\n");
        QCOMPARE(expand(alert), QStringLiteral("<>") + crlf + crlf);
    }

    void timeFollowsLocalZone_data()
    {
        QTest::addColumn<QByteArray>("zone");
        QTest::addColumn<qlonglong>("time");
        QTest::addColumn<QString>("expected");
        QTest::newRow("UTC") << QByteArray("UTC") << qlonglong(1300000000)
                             << QStringLiteral("Sun Mar 13 07:06:40 2011");
        QTest::newRow("nine hours east")
            << QByteArray("JST-9") << qlonglong(1300000000) << QStringLiteral("Sun Mar 13 16:06:40 2011");
        QTest::newRow("five hours west")
            << QByteArray("EST5") << qlonglong(1300000000) << QStringLiteral("Sun Mar 13 02:06:40 2011");
        QTest::newRow("single-digit day")
            << QByteArray("UTC") << qlonglong(1000000000) << QStringLiteral("Sun Sep  9 01:46:40 2001");
        QTest::newRow("before 1970") << QByteArray("UTC") << qlonglong(-1)
                                     << QStringLiteral("Wed Dec 31 23:59:59 1969");
        QTest::newRow("zero even east of UTC") << QByteArray("JST-9") << qlonglong(0) << QString();
    }

    void timeFollowsLocalZone()
    {
        QFETCH(QByteArray, zone);
        QFETCH(qlonglong, time);
        QFETCH(QString, expected);
        setZone(zone);
        Alert alert;
        alert.time = time_t(time);
        alert.format = QStringLiteral("~T");
        QCOMPARE(expand(alert), expected);
    }

    void previousOutputIsDiscarded_data()
    {
        QTest::addColumn<QString>("previous");
        QTest::addColumn<QString>("format");
        QTest::addColumn<QString>("expected");
        QTest::newRow("null, field") << QString() << QStringLiteral("~A") << QStringLiteral("quarantined");
        QTest::newRow("text, field") << QStringLiteral("stale") << QStringLiteral("~A")
                                     << QStringLiteral("quarantined");
        QTest::newRow("text, empty template")
            << QStringLiteral("stale") << QStringLiteral("") << QStringLiteral("");
        QTest::newRow("long text, short template")
            << QString(500, QLatin1Char('x')) << QStringLiteral("y") << QStringLiteral("y");
    }

    void previousOutputIsDiscarded()
    {
        QFETCH(QString, previous);
        QFETCH(QString, format);
        QFETCH(QString, expected);
        Alert alert = filledAlert();
        alert.format = format;
        QString out = previous;
        alert.formatMessage(out);
        QCOMPARE(out, expected);
        QVERIFY(!out.isNull());
    }

    void defaultRecordIsBlank()
    {
        const Alert alert;
        QCOMPARE(alert.time, time_t(0));
        for (const QString* field :
             {&alert.fieldA, &alert.fieldC, &alert.fieldE, &alert.fieldF, &alert.fieldL, &alert.fieldN,
              &alert.fieldP, &alert.fieldS, &alert.fieldV})
            QVERIFY(field->isNull());
        QVERIFY(alert.format.isEmpty());
        QVERIFY(!alert.format.isNull());
        const QString out = expand(alert);
        QVERIFY(out.isEmpty());
        QVERIFY(!out.isNull());
    }

    void copiesKeepEveryMember_data()
    {
        QTest::addColumn<bool>("assign");
        QTest::newRow("copy-constructed") << false;
        QTest::newRow("assigned") << true;
    }

    void copiesKeepEveryMember()
    {
        QFETCH(bool, assign);
        Alert source = filledAlert();
        source.time = 1300000000;
        source.format = QStringLiteral("~F: ~V");
        const Alert constructed(source);
        Alert assigned;
        assigned = source;
        const Alert& copy = assign ? assigned : constructed;
        QCOMPARE(copy.time, source.time);
        QCOMPARE(copy.fieldA, source.fieldA);
        QCOMPARE(copy.fieldC, source.fieldC);
        QCOMPARE(copy.fieldE, source.fieldE);
        QCOMPARE(copy.fieldF, source.fieldF);
        QCOMPARE(copy.fieldL, source.fieldL);
        QCOMPARE(copy.fieldN, source.fieldN);
        QCOMPARE(copy.fieldP, source.fieldP);
        QCOMPARE(copy.fieldS, source.fieldS);
        QCOMPARE(copy.fieldV, source.fieldV);
        QCOMPARE(copy.format, source.format);
        QCOMPARE(expand(copy), expand(source));
    }
};

QTEST_GUILESS_MAIN(TestAlert)
#include "TestAlert.moc"
