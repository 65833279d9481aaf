#include "messaging/Alert.h"
#include "Wire.h"

#include <QtTest>

using Wire::text;

namespace {

// Every field distinct; one holds template syntax, which must come out as it is.
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
    alert.fieldS = QStringLiteral("r\u00e9seau \u03a9mega");
    alert.fieldV = QStringLiteral("Test.~V\\n");
    alert.time = 1300000000;
    return alert;
}

// What the reader's clock makes of the time; ~T inserts it as it is.
const QString TimeText = QStringLiteral("Sun Mar 13 16:06:40 2011");

} // namespace

class TestAlert final : public QObject
{
    Q_OBJECT

private slots:
    void expansion_data()
    {
        QTest::addColumn<QString>("format");
        QTest::addColumn<QString>("expected");
        const Alert a = filledAlert();
        const QString letters = QStringLiteral("ACEFLNUPSVT");
        const QStringList values = QStringList()
            << a.fieldA << a.fieldC << a.fieldE << a.fieldF << a.fieldL << a.fieldN << a.fieldN << a.fieldP
            << a.fieldS << a.fieldV << TimeText;
        for (int i = 0; i < letters.size(); ++i) {
            for (const QChar letter : {letters[i], letters[i].toLower()})
                QTest::addRow("~%c", letter.toLatin1()) << "<~" + QString(letter) + ">"
                                                        << "<" + values[i] + ">";
        }
        const QString crlf = QStringLiteral("\r\n");
        QTest::newRow("\\r\\n is one line end") << "a\\r\\nb\\R\\Nc"
                                                << "a" + crlf + "b" + crlf + "c";
        QTest::newRow("\\n\\n and \\r\\r") << "\\n\\n\\r\\r" << crlf + crlf + crlf + crlf;
        QTest::newRow("field between \\r and \\n") << "\\r~A\\n" << crlf + a.fieldA + crlf;
        QTest::newRow("\\t") << "a\\tb\\Tc"
                             << "a\tb\tc";
        QTest::newRow("~~F") << "~~F"
                             << "~" + a.fieldF;
        QTest::newRow("trailing ~ and \\") << "x~\\"
                                           << "x~\\";
        // Neither is an escape here: it is copied, and what follows it is read afresh.
        QTest::newRow("~ before \\t") << "~\\t~x"
                                      << "~\t~x";
        QTest::newRow("\\ before ~A") << "\\~A\\x"
                                      << "\\" + a.fieldA + "\\x";
        QTest::newRow("one character") << "A"
                                       << "A";
        QTest::newRow("last above U+00FF")
            << QString(QChar(0x100)) + "~A" + QChar(0x100) << QChar(0x100) + a.fieldA;
        QTest::newRow("last U+00FF") << "~A" + QString(QChar(0xFF)) << a.fieldA + QChar(0xFF);
        QTest::newRow("last U+0000") << QStringLiteral("a") + QChar(0) + "b" + QChar(0)
                                     << QStringLiteral("a") + QChar(0) + "b";
    }

    void expansion()
    {
        QFETCH(QString, format);
        QFETCH(QString, expected);
        Alert alert = filledAlert();
        alert.format = format;
        QCOMPARE(alert.text(TimeText), expected);
    }

    // Only the template makes lines: what a file name or any other field holds is shown escaped.
    void fieldsCannotForgeLines_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<QString>("expected");
        QTest::newRow("line ends") << "a\nb\r\nc"
                                   << "a\\x0ab\\x0d\\x0ac";
        QTest::newRow("tab, NUL, DEL")
            << QStringLiteral("a\tb") + QChar(0) + QChar(0x7f) << "a\\x09b\\x00\\x7f";
        QTest::newRow("C1 next line") << QStringLiteral("a") + QChar(0x85) + "b"
                                      << "a\\x85b";
        QTest::newRow("direction overrides")
            << QStringLiteral("fdp.") + QChar(0x202e) + "exe" + QChar(0x202a) + QChar(0x2066) + QChar(0x2069)
            << "fdp.\\u202eexe\\u202a\\u2066\\u2069";
        QTest::newRow("line and paragraph separators")
            << QStringLiteral("a") + QChar(0x2028) + QChar(0x2029) << "a\\u2028\\u2029";
        QTest::newRow("markup is plain text") << "<b>&amp;</b>\u00e9\u200f"
                                              << "<b>&amp;</b>\u00e9\u200f";
    }

    void fieldsCannotForgeLines()
    {
        QFETCH(QString, file);
        QFETCH(QString, expected);
        Alert alert;
        alert.fieldF = file;
        alert.format = QStringLiteral("[~F]\\n");
        QCOMPARE(alert.text(QString()), "[" + expected + "]\r\n");
    }

    void longTextIsCut()
    {
        Alert alert;
        alert.fieldF = QString(1000, 'f');
        alert.format = QStringLiteral("~F").repeated(100000);
        const QString text = alert.text(QString());
        QCOMPARE(text.size(), Alert::MaxTextLength);
        QCOMPARE(text, QString(Alert::MaxTextLength - 1, 'f') + QChar(0x2026));
        // A field larger than the bound is not copied whole and then cut: the memory stays bounded.
        alert.fieldF = QString(1 << 20, 'f');
        alert.format = QStringLiteral("~F");
        QVERIFY(alert.text(QString()).capacity() <= Alert::MaxTextLength);
        alert.format = QString(Alert::MaxTextLength, 'x');
        QCOMPARE(alert.text(QString()), alert.format);
        // One character over, kept as the last one of the template: found by fuzzing.
        alert.format += 'y';
        QCOMPARE(alert.text(QString()), QString(Alert::MaxTextLength - 1, 'x') + QChar(0x2026));
        alert.format += 'z';
        QCOMPARE(alert.text(QString()), QString(Alert::MaxTextLength - 1, 'x') + QChar(0x2026));
    }

    void missingFieldsLeaveNoTrace()
    {
        Alert alert;
        QVERIFY(alert.text(QString()).isEmpty() && !alert.text(QString()).isNull());
        alert.format = QStringLiteral("<~A~a~C~c~E~e~F~f~L~l~N~n~U~u~P~p~S~s~V~v~T~t>");
        QCOMPARE(alert.text(QString()), QStringLiteral("<>"));
    }

    void record_data()
    {
        QTest::addColumn<QByteArray>("record");
        QTest::addColumn<QString>("fields"); // time, then L E V P C S N A F and the template

        QByteArray all = Wire::words({quint32(-5)});
        for (const char* field : {"l", "e", "v", "p", "c", "s", "n", "a", "f", "~F"})
            all += text(field);
        QTest::newRow("every field") << all << "-5|l|e|v|p|c|s|n|a|f|~F";
        QTest::newRow("time only") << Wire::words({7}) << "7||||||||||";
        QTest::newRow("half a time") << QByteArray("\0\0\7", 3) << "0||||||||||";
        QTest::newRow("UTF-8, empty and absent texts")
            << Wire::words({1}) + text("\xc3\xa9") + text("") + Wire::words({0, quint32(-3)}) + text("v")
            << "1|\u00e9||||v|||||";
        // Nothing after a count that overruns the record can be trusted.
        QTest::newRow("overrun") << Wire::words({1}) + text("l") + Wire::words({50}) + text("x")
                                 << "1|l|||||||||";
    }

    void record()
    {
        QFETCH(QByteArray, record);
        QFETCH(QString, fields);
        const Alert a = Alert::fromRecord(Wire::bytes(record), int(record.size()));
        const QStringList got = QStringList()
            << QString::number(a.time) << a.fieldL << a.fieldE << a.fieldV << a.fieldP << a.fieldC << a.fieldS
            << a.fieldN << a.fieldA << a.fieldF << a.format;
        QCOMPARE(got.join('|'), fields);
    }
};

QTEST_GUILESS_MAIN(TestAlert)
#include "TestAlert.moc"
