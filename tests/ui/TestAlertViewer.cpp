#include "ui/AlertViewer.h"

#include <QLayout>
#include <QPushButton>
#include <QSignalSpy>
#include <QTextEdit>
#include <QTranslator>
#include <QtTest>

namespace {

Alert alert(const QString& text)
{
    Alert alert;
    alert.time = 1300000000;
    alert.format = text + "\\n";
    return alert;
}

} // namespace

class TestAlertViewer final : public QObject
{
    Q_OBJECT

    AlertViewer* m_viewer = nullptr;

    // "title|text|<< enabled|>> enabled"
    QString state() const
    {
        return QStringList{m_viewer->windowTitle(), m_viewer->findChild<QTextEdit*>()->toPlainText(),
                           QString::number(m_viewer->findChild<QPushButton*>("previousButton")->isEnabled()),
                           QString::number(m_viewer->findChild<QPushButton*>("nextButton")->isEnabled())}
            .join('|');
    }
    void click(const char* button) { m_viewer->findChild<QPushButton*>(button)->click(); }

private slots:
    void init() { m_viewer = new AlertViewer; }
    void cleanup() { delete m_viewer; }

    // The text is shown as it stands: markup in it is no markup. The time is the reader's.
    void plainReadOnlyAndTranslatedWhileOpen()
    {
        m_viewer->addAlert(alert("<b>one</b> ~T"));
        QTRY_COMPARE(state(),
                     QStringLiteral("Mireval - Alert 1 of 1|<b>one</b> Sun Mar 13 07:06:40 2011\n|0|0"));
        QVERIFY(m_viewer->findChild<QTextEdit*>()->isReadOnly());
        QTranslator german;
        QVERIFY(german.load(QStringLiteral("wardlet_de"), QStringLiteral(TRANSLATIONS_DIR)));
        QCoreApplication::installTranslator(&german);
        QTRY_COMPARE(m_viewer->windowTitle(), QStringLiteral("Mireval - Warnung 1 von 1"));
        QCoreApplication::removeTranslator(&german);
    }

    // The text fills the window; the buttons sit side by side below it, "<<" first.
    void layout()
    {
        m_viewer->addAlert(alert("one"));
        QTRY_VERIFY(m_viewer->isVisible());
        const QRect text = m_viewer->findChild<QTextEdit*>()->geometry();
        const QRect previous = m_viewer->findChild<QPushButton*>("previousButton")->geometry();
        const QRect next = m_viewer->findChild<QPushButton*>("nextButton")->geometry();
        QVERIFY(m_viewer->width() >= 480 && m_viewer->height() >= 360 && !m_viewer->windowIcon().isNull());
        QVERIFY(text.width() > m_viewer->width() * 3 / 4);
        QVERIFY(previous.top() > text.bottom() && next.top() == previous.top()
                && next.left() > previous.right());
        QCOMPARE(m_viewer->findChild<QPushButton*>("previousButton")->text(), QStringLiteral("<<"));
        QCOMPARE(m_viewer->findChild<QPushButton*>("nextButton")->text(), QStringLiteral(">>"));
        // An 8 px row keeps the buttons off the bottom edge.
        QVERIFY(m_viewer->height() - previous.bottom() > m_viewer->layout()->contentsMargins().bottom() + 8);
    }

    void floodKeepsTheNewest()
    {
        m_viewer->addAlert(alert("a0"));
        m_viewer->addAlert(alert("a1"));
        QTRY_COMPARE(state(), QStringLiteral("Mireval - Alert 1 of 2|a0\n|0|1"));
        click("nextButton");
        click("previousButton");
        QCOMPARE(state(), QStringLiteral("Mireval - Alert 1 of 2|a0\n|0|1"));
        click("nextButton");
        // New alerts leave the reader's place in the shown text alone.
        auto* text = m_viewer->findChild<QTextEdit*>();
        text->moveCursor(QTextCursor::End);
        for (int i = 2; i < AlertViewer::MaxAlerts; ++i)
            m_viewer->addAlert(alert(QStringLiteral("a%1").arg(i)));
        QTRY_COMPARE(state(), QStringLiteral("Mireval - Alert 2 of 1000|a1\n|1|1"));
        QCOMPARE(text->textCursor().position(), 3);
        m_viewer->addAlert(alert("new"));
        // Clicked before the burst is shown, "<<" still looks enabled but has nowhere to go.
        click("previousButton");
        QTRY_COMPARE(state(), QStringLiteral("Mireval - Alert 1 of 1000|a1\n|0|1"));
        m_viewer->addAlert(alert("newer"));
        QTRY_COMPARE(state(), QStringLiteral("Mireval - Alert 1 of 1000|a2\n|0|1"));
    }

    // A notification names its alert by number; the viewer comes forward there while it holds it.
    void bringsForwardTheNumberedAlert()
    {
        const quint64 first = m_viewer->addAlert(alert("a0"));
        quint64 last = first;
        for (int i = 1; i <= AlertViewer::MaxAlerts; ++i)
            last = m_viewer->addAlert(alert(QStringLiteral("a%1").arg(i)));
        QCOMPARE(last, first + AlertViewer::MaxAlerts);
        m_viewer->hide();
        m_viewer->bringForward(last - 1, QByteArray());
        QVERIFY(m_viewer->isVisible());
        QCOMPARE(state(), QStringLiteral("Mireval - Alert 999 of 1000|a999\n|1|1"));
        // Dropped from the viewer, or never given out: it stays where it is.
        m_viewer->bringForward(first, QByteArray());
        m_viewer->bringForward(last + 1, QByteArray());
        QCOMPARE(state(), QStringLiteral("Mireval - Alert 999 of 1000|a999\n|1|1"));

        m_viewer->close();
        m_viewer->bringForward(last, QByteArray());
        QVERIFY(!m_viewer->isVisible());
        QVERIFY(m_viewer->addAlert(alert("b")) > last);
        m_viewer->bringForward(last, QByteArray());
        QCOMPARE(state(), QStringLiteral("Mireval - Alert 1 of 1|b\n|0|0"));
    }

    void closingDiscardsEscapeKeeps()
    {
        QSignalSpy discarded(m_viewer, &AlertViewer::alertsDiscarded);
        m_viewer->addAlert(alert("one"));
        m_viewer->addAlert(alert("two"));
        QTRY_VERIFY(m_viewer->isVisible());
        QTest::keyClick(m_viewer, Qt::Key_Escape);
        QVERIFY(!m_viewer->isVisible());
        QCOMPARE(m_viewer->count(), 2);
        QCOMPARE(discarded.size(), 0);
        m_viewer->show();
        m_viewer->close();
        QCOMPARE(discarded.size(), 1);
        // Nothing of them is left behind, not even in the hidden window.
        QCOMPARE(state(), QStringLiteral("Mireval - Alert 0 of 0||0|0"));
    }
};

QTEST_MAIN(TestAlertViewer)
#include "TestAlertViewer.moc"
