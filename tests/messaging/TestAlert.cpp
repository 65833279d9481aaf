#include "messaging/Alert.h"

#include <QtTest>

namespace {

// Every field distinct. Only the template makes lines: controls (C) and changes of writing
// direction (E) in a field are shown escaped; template syntax (V) comes out as it is.
Alert filledAlert()
{
    Alert alert;
    alert.fieldA = QStringLiteral("quarantined");
    alert.fieldC = QStringLiteral("a\nb\r\t\0\x1f\x7f\x85\x9f");
    alert.fieldE = QStringLiteral("fdp.\u202eexe\u202a\u2066\u2069\u2028\u2029");
    alert.fieldF = QStringLiteral("/home/ana/setup.exe");
    alert.fieldL = QStringLiteral(" <b>&amp;</b>\u00a0\u200f\u2027\u202f\u2065\u206a");
    alert.fieldN = QStringLiteral("ana");
    alert.fieldP = QStringLiteral("/usr/bin/wget");
    alert.fieldS = QStringLiteral("r\u00e9seau \u03a9mega");
    alert.fieldV = QStringLiteral("Test.~V\\n");
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
            << a.fieldA << "a\\x0ab\\x0d\\x09\\x00\\x1f\\x7f\\x85\\x9f"
            << "fdp.\\u202eexe\\u202a\\u2066\\u2069\\u2028\\u2029" << a.fieldF << a.fieldL << a.fieldN
            << a.fieldN << a.fieldP << a.fieldS << a.fieldV << TimeText;
        for (int i = 0; i < letters.size(); ++i) {
            for (const QChar letter : {letters[i], letters[i].toLower()})
                QTest::addRow("~%c", letter.toLatin1()) << "<~" + QString(letter) + ">"
                                                        << "<" + values[i] + ">";
        }
        // \r\n, written out of habit, is one line end; a field between them ends that.
        QTest::newRow("escapes") << "a\\r\\nb\\R\\Nc\\n\\n\\r\\r\\r~A\\nd\\te\\Tf"
                                 << "a\r\nb\r\nc" + QStringLiteral("\r\n").repeated(5) + a.fieldA
                + "\r\nd\te\tf";
        // A ~ or \ that starts no escape is copied, and what follows it is read afresh.
        QTest::newRow("no escapes") << "~~F~\\t\\~A\\x~\\"
                                    << "~" + a.fieldF + "~\t\\" + a.fieldA + "\\x~\\";
        // A last NUL or unit above U+00FF is dropped.
        QTest::newRow("one character U+00FF") << QString(QChar(0xFF)) << QString(QChar(0xFF));
        QTest::newRow("last above U+00FF")
            << QString(QChar(0x100)) + "~A" + QChar(0x100) << QChar(0x100) + a.fieldA;
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

    // Missing fields leave no trace; a template repeating a long field is cut at 16 KiB.
    void textBounds()
    {
        Alert alert;
        QVERIFY(alert.text(QString()).isEmpty() && !alert.text(QString()).isNull());
        alert.format = QStringLiteral("<~A~C~E~F~L~N~U~P~S~V~T>");
        QCOMPARE(alert.text(QString()), QStringLiteral("<>"));
        alert.fieldF = QString(1000, 'f');
        alert.format = QStringLiteral("~F").repeated(100000);
        QCOMPARE(alert.text(QString()), QString(16383, 'f') + QChar(0x2026));
        alert.fieldF = QString(1 << 20, 'f');
        alert.format = QStringLiteral("~F");
        QVERIFY(alert.text(QString()).capacity() <= 16384);
        alert.format = QString(16384, 'x');
        QCOMPARE(alert.text(QString()), alert.format);
        // One character over, kept as the last one of the template: found by fuzzing.
        alert.format += 'y';
        QCOMPARE(alert.text(QString()), QString(16383, 'x') + QChar(0x2026));
    }
};

QTEST_GUILESS_MAIN(TestAlert)
#include "TestAlert.moc"
