#include "ui/Alert.h"
#include "ui/AlertView.h"

#include <QMetaMethod>
#include <QPushButton>
#include <QSignalSpy>
#include <QTextEdit>
#include <QtTest>

#include <memory>
#include <vector>

namespace {

qelUI::Alert makeAlert(const QString& name, const QString& file)
{
    qelUI::Alert alert;
    alert.fieldN = name;
    alert.fieldF = file;
    alert.format = QStringLiteral("~N in ~F");
    return alert;
}

} // namespace

// Drives the view the way the application does: it appends to its list and reports the new
// size, and empties the list when the view asks for cleanup.
class TestAlertView : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        alerts.clear();
        view = std::make_unique<AlertView>();
        view->_alerts = &alerts;
        connect(view.get(), &AlertView::cleanup, view.get(), [this] {
            alerts.clear();
            view->alertsUpdated(0);
        });
        prev = view->findChild<QPushButton*>(QStringLiteral("prevButton"));
        next = view->findChild<QPushButton*>(QStringLiteral("nextButton"));
        message = view->findChild<QTextEdit*>(QStringLiteral("messageEdit"));
        QVERIFY(prev);
        QVERIFY(next);
        QVERIFY(message);
    }

    void cleanup() { view.reset(); }

    void startsEmptyWithBothButtonsDisabled()
    {
        // The title was set before the list was attached, and nothing has arrived since.
        QCOMPARE(view->windowTitle(), QStringLiteral("Mireval - Alert 0 of 0"));
        QCOMPARE(prev->text(), QStringLiteral("<<"));
        QCOMPARE(next->text(), QStringLiteral(">>"));
        QVERIFY(!prev->isEnabled());
        QVERIFY(!next->isEnabled());
        QVERIFY(message->toPlainText().isEmpty());
        QVERIFY(message->isReadOnly());
    }

    void oneAlertDisablesBothButtons()
    {
        push(makeAlert(QStringLiteral("Virus"), QStringLiteral("/a")));
        QCOMPARE(message->toPlainText(), QStringLiteral("Virus in /a"));
        QCOMPARE(view->windowTitle(), QStringLiteral("Mireval - Alert 1 of 1"));
        QVERIFY(!prev->isEnabled());
        QVERIFY(!next->isEnabled());
    }

    void newAlertsKeepTheFirstInView()
    {
        pushThree();
        QCOMPARE(message->toPlainText(), QStringLiteral("First in /1"));
        QCOMPARE(view->windowTitle(), QStringLiteral("Mireval - Alert 1 of 3"));
        QVERIFY(!prev->isEnabled());
        QVERIFY(next->isEnabled());
    }

    void newAlertDoesNotMoveTheViewedOne()
    {
        pushThree();
        next->click();
        push(makeAlert(QStringLiteral("Fourth"), QStringLiteral("/4")));
        QCOMPARE(message->toPlainText(), QStringLiteral("Second in /2"));
        QCOMPARE(view->windowTitle(), QStringLiteral("Mireval - Alert 2 of 4"));
        QVERIFY(prev->isEnabled());
        QVERIFY(next->isEnabled());
    }

    void steppingToTheLastAndBack()
    {
        pushThree();
        next->click();
        QCOMPARE(message->toPlainText(), QStringLiteral("Second in /2"));
        QCOMPARE(view->windowTitle(), QStringLiteral("Mireval - Alert 2 of 3"));
        QVERIFY(prev->isEnabled());
        QVERIFY(next->isEnabled());

        next->click();
        QCOMPARE(message->toPlainText(), QStringLiteral("Third in /3"));
        QCOMPARE(view->windowTitle(), QStringLiteral("Mireval - Alert 3 of 3"));
        QVERIFY(prev->isEnabled());
        QVERIFY(!next->isEnabled());

        // Past the end there is nothing to show; the last alert stays.
        QVERIFY(QMetaObject::invokeMethod(view.get(), "_next"));
        QCOMPARE(message->toPlainText(), QStringLiteral("Third in /3"));
        QCOMPARE(view->windowTitle(), QStringLiteral("Mireval - Alert 3 of 3"));

        prev->click();
        prev->click();
        QCOMPARE(message->toPlainText(), QStringLiteral("First in /1"));
        QCOMPARE(view->windowTitle(), QStringLiteral("Mireval - Alert 1 of 3"));
        QVERIFY(!prev->isEnabled());
        QVERIFY(next->isEnabled());

        QVERIFY(QMetaObject::invokeMethod(view.get(), "_prev"));
        QCOMPARE(message->toPlainText(), QStringLiteral("First in /1"));
        QCOMPARE(view->windowTitle(), QStringLiteral("Mireval - Alert 1 of 3"));
    }

    void closingDropsTheAlerts()
    {
        QSignalSpy spy(view.get(), &AlertView::cleanup);
        pushThree();
        next->click();
        next->click();
        view->show();
        QVERIFY(QTest::qWaitForWindowExposed(view.get()));

        QVERIFY(view->close());
        QCOMPARE(spy.count(), 1);
        QVERIFY(alerts.empty());
        QVERIFY(!view->isVisible());
        QVERIFY(message->toPlainText().isEmpty());
        QVERIFY(!prev->isEnabled());
        QVERIFY(!next->isEnabled());

        push(makeAlert(QStringLiteral("Later"), QStringLiteral("/5")));
        QCOMPARE(message->toPlainText(), QStringLiteral("Later in /5"));
        QCOMPARE(view->windowTitle(), QStringLiteral("Mireval - Alert 1 of 1"));
        QVERIFY(!prev->isEnabled());
        QVERIFY(!next->isEnabled());
    }

    void escapeHidesButKeepsTheAlerts()
    {
        QSignalSpy spy(view.get(), &AlertView::cleanup);
        pushThree();
        next->click();
        view->show();
        QVERIFY(QTest::qWaitForWindowExposed(view.get()));

        QTest::keyClick(view.get(), Qt::Key_Escape);
        QVERIFY(!view->isVisible());
        QCOMPARE(spy.count(), 0);
        QCOMPARE(alerts.size(), std::size_t(3));
        QCOMPARE(message->toPlainText(), QStringLiteral("Second in /2"));
        QCOMPARE(view->windowTitle(), QStringLiteral("Mireval - Alert 2 of 3"));
    }

    void withoutAListNothingIsShown()
    {
        AlertView detached;
        auto* detachedPrev = detached.findChild<QPushButton*>(QStringLiteral("prevButton"));
        auto* detachedNext = detached.findChild<QPushButton*>(QStringLiteral("nextButton"));
        auto* detachedMessage = detached.findChild<QTextEdit*>(QStringLiteral("messageEdit"));
        QVERIFY(detachedPrev && detachedNext && detachedMessage);
        QCOMPARE(detached.windowTitle(), QStringLiteral("Mireval - Alert 0 of 0"));

        detached.alertsUpdated(2);
        QVERIFY(QMetaObject::invokeMethod(&detached, "_next"));
        QVERIFY(QMetaObject::invokeMethod(&detached, "_prev"));
        QCOMPARE(detached.windowTitle(), QStringLiteral("Mireval - Alert 0 of 0"));
        QVERIFY(detachedMessage->toPlainText().isEmpty());
        QVERIFY(!detachedPrev->isEnabled());
        QVERIFY(!detachedNext->isEnabled());
    }

    void countWithAnEmptyListShowsNothing()
    {
        pushThree();
        next->click();
        alerts.clear();
        view->alertsUpdated(3);
        QVERIFY(message->toPlainText().isEmpty());
        QCOMPARE(view->windowTitle(), QStringLiteral("Mireval - Alert 1 of 0"));
        QVERIFY(!prev->isEnabled());
        QVERIFY(!next->isEnabled());

        push(makeAlert(QStringLiteral("Again"), QStringLiteral("/6")));
        QCOMPARE(message->toPlainText(), QStringLiteral("Again in /6"));
        QCOMPARE(view->windowTitle(), QStringLiteral("Mireval - Alert 1 of 1"));
    }

    void emptyTemplateShowsEmptyText()
    {
        qelUI::Alert alert = makeAlert(QStringLiteral("Virus"), QStringLiteral("/a"));
        alert.format.clear();
        push(alert);
        QVERIFY(message->toPlainText().isEmpty());
        QCOMPARE(view->windowTitle(), QStringLiteral("Mireval - Alert 1 of 1"));
    }

    void multiLineMessageKeepsItsLines()
    {
        qelUI::Alert alert = makeAlert(QStringLiteral("Virus"), QStringLiteral("/a"));
        alert.format = QStringLiteral("~N\r\nfound in\r\n~F");
        push(alert);
        const QStringList lines = message->toPlainText().split(QLatin1Char('\n'));
        QCOMPARE(lines.size(), 3);
        QCOMPARE(lines.at(0).trimmed(), QStringLiteral("Virus"));
        QCOMPARE(lines.at(2).trimmed(), QStringLiteral("/a"));
    }

    void messageCannotBeEdited()
    {
        push(makeAlert(QStringLiteral("Virus"), QStringLiteral("/a")));
        QTest::keyClicks(message, QStringLiteral("xyz"));
        QTest::keyClick(message, Qt::Key_Backspace);
        QCOMPARE(message->toPlainText(), QStringLiteral("Virus in /a"));
    }

    void buttonsSitBelowTheMessage()
    {
        view->show();
        QVERIFY(QTest::qWaitForWindowExposed(view.get()));
        QVERIFY(prev->geometry().top() > message->geometry().bottom());
        QCOMPARE(next->geometry().top(), prev->geometry().top());
        QVERIFY(next->geometry().left() > prev->geometry().right());
        // The right-hand spacers keep the buttons off the right edge.
        QVERIFY(next->geometry().right() < message->geometry().right());
    }

    void windowIconIsTheAlertIcon()
    {
        const QIcon icon = view->windowIcon();
        QVERIFY(!icon.isNull());
        QVERIFY(icon.availableSizes().contains(QSize(32, 32)));
    }

    void initialSize()
    {
        QCOMPARE(view->size(), QSize(480, 360).expandedTo(view->minimumSizeHint()));
        QVERIFY(view->width() >= 480);
        QVERIFY(view->height() >= 360);
    }

    void metaObjectOrder()
    {
        const QMetaObject* meta = view->metaObject();
        QList<QByteArray> signatures;
        QList<QMetaMethod::MethodType> types;
        QList<QMetaMethod::Access> access;
        for (int i = meta->methodOffset(); i < meta->methodCount(); ++i) {
            const QMetaMethod method = meta->method(i);
            signatures << method.methodSignature();
            types << method.methodType();
            access << method.access();
        }
        QCOMPARE(
            signatures,
            (QList<QByteArray>{"cleanup()", "alertsUpdated(int)", "languageChange()", "_next()", "_prev()"}));
        QCOMPARE(types,
                 (QList<QMetaMethod::MethodType>{QMetaMethod::Signal, QMetaMethod::Slot, QMetaMethod::Slot,
                                                 QMetaMethod::Slot, QMetaMethod::Slot}));
        QCOMPARE(access.mid(1),
                 (QList<QMetaMethod::Access>{QMetaMethod::Public, QMetaMethod::Protected,
                                             QMetaMethod::Protected, QMetaMethod::Protected}));
    }

private:
    void push(const qelUI::Alert& alert)
    {
        alerts.push_back(alert);
        view->alertsUpdated(int(alerts.size()));
    }

    void pushThree()
    {
        push(makeAlert(QStringLiteral("First"), QStringLiteral("/1")));
        push(makeAlert(QStringLiteral("Second"), QStringLiteral("/2")));
        push(makeAlert(QStringLiteral("Third"), QStringLiteral("/3")));
    }

    std::vector<qelUI::Alert> alerts;
    std::unique_ptr<AlertView> view;
    QPushButton* prev = nullptr;
    QPushButton* next = nullptr;
    QTextEdit* message = nullptr;
};

QTEST_MAIN(TestAlertView)
#include "TestAlertView.moc"
