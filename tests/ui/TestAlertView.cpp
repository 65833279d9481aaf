#include "ui/Alert.h"
#include "ui/AlertView.h"

#include <QPushButton>
#include <QTextEdit>
#include <QtTest>

#include <vector>

namespace {

// Title, text and the captions of the enabled buttons ("-" for a disabled one) in one line, so that
// a row checks everything the user sees with one comparison.
QString shown(const AlertView& view)
{
    const auto* prev = view.findChild<QPushButton*>(QStringLiteral("prevButton"));
    const auto* next = view.findChild<QPushButton*>(QStringLiteral("nextButton"));
    const auto* message = view.findChild<QTextEdit*>(QStringLiteral("messageEdit"));
    if (!prev || !next || !message)
        return QStringLiteral("<widgets missing>");
    return QStringLiteral("%1 | %2 | %3 %4")
        .arg(view.windowTitle(), message->toPlainText(),
             prev->isEnabled() ? prev->text() : QStringLiteral("-"),
             next->isEnabled() ? next->text() : QStringLiteral("-"));
}

} // namespace

class TestAlertView : public QObject
{
    Q_OBJECT

private slots:
    // The row tag is the steps, one a word: a capital letter appends an alert of that name and
    // "blank" one with an empty template; "<" and ">" click the buttons, "_prev" and "_next" call
    // the slots whatever the buttons allow; "close" and "escape" show the window and dismiss it
    // so; "cleared" empties the list behind the view's back and reports the old count.
    void walk_data()
    {
        QTest::addColumn<QString>("expected");
        QTest::newRow("A") << "Mireval - Alert 1 of 1 | A | - - | cleanups: 0";
        QTest::newRow("A B C") << "Mireval - Alert 1 of 3 | A | - >> | cleanups: 0";
        QTest::newRow("A B C >") << "Mireval - Alert 2 of 3 | B | << >> | cleanups: 0";
        QTest::newRow("A B C > >") << "Mireval - Alert 3 of 3 | C | << - | cleanups: 0";
        QTest::newRow("A B C > > _next") << "Mireval - Alert 3 of 3 | C | << - | cleanups: 0";
        QTest::newRow("A B C > > < <") << "Mireval - Alert 1 of 3 | A | - >> | cleanups: 0";
        QTest::newRow("A B C _prev") << "Mireval - Alert 1 of 3 | A | - >> | cleanups: 0";
        QTest::newRow("A B C > D") << "Mireval - Alert 2 of 4 | B | << >> | cleanups: 0";
        QTest::newRow("A B C > close D") << "Mireval - Alert 1 of 1 | D | - - | cleanups: 1";
        QTest::newRow("A B C > escape") << "Mireval - Alert 2 of 3 | B | << >> | cleanups: 0";
        QTest::newRow("A B > cleared") << "Mireval - Alert 1 of 0 |  | - - | cleanups: 0";
        QTest::newRow("A B > cleared C") << "Mireval - Alert 1 of 1 | C | - - | cleanups: 0";
        QTest::newRow("blank") << "Mireval - Alert 1 of 1 |  | - - | cleanups: 0";
    }

    // Drives the view the way the application does: it appends to its list and reports the new
    // size, and empties the list when the view asks for cleanup.
    void walk()
    {
        QFETCH(QString, expected);
        std::vector<qelUI::Alert> alerts;
        AlertView view;
        view._alerts = &alerts;
        int cleanups = 0;
        connect(&view, &AlertView::cleanup, &view, [&] {
            ++cleanups;
            alerts.clear();
            view.alertsUpdated(0);
        });
        for (const QString& step : QString::fromUtf8(QTest::currentDataTag()).split(QLatin1Char(' '))) {
            if (step == QLatin1String("<") || step == QLatin1String(">")) {
                auto* button
                    = view.findChild<QPushButton*>(step == QLatin1String("<") ? "prevButton" : "nextButton");
                QVERIFY(button);
                button->click();
            } else if (step.startsWith(QLatin1Char('_'))) {
                QVERIFY(QMetaObject::invokeMethod(&view, qPrintable(step)));
            } else if (step == QLatin1String("close") || step == QLatin1String("escape")) {
                view.show();
                QVERIFY(QTest::qWaitForWindowExposed(&view));
                if (step == QLatin1String("close"))
                    QVERIFY(view.close());
                else
                    QTest::keyClick(&view, Qt::Key_Escape);
                QVERIFY(!view.isVisible());
            } else if (step == QLatin1String("cleared")) {
                const int count = int(alerts.size());
                alerts.clear();
                view.alertsUpdated(count);
            } else {
                qelUI::Alert alert;
                alert.fieldN = step;
                alert.format = step == QLatin1String("blank") ? QString() : QStringLiteral("~N");
                alerts.push_back(alert);
                view.alertsUpdated(int(alerts.size()));
            }
        }
        QCOMPARE(shown(view) + QStringLiteral(" | cleanups: %1").arg(cleanups), expected);
    }

    void withoutAListNothingIsShown()
    {
        AlertView detached;
        QCOMPARE(shown(detached), QStringLiteral("Mireval - Alert 0 of 0 |  | - -"));
        detached.alertsUpdated(2);
        QVERIFY(QMetaObject::invokeMethod(&detached, "_next"));
        QVERIFY(QMetaObject::invokeMethod(&detached, "_prev"));
        QCOMPARE(shown(detached), QStringLiteral("Mireval - Alert 0 of 0 |  | - -"));
    }
};

QTEST_MAIN(TestAlertView)
#include "TestAlertView.moc"
