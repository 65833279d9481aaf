#include "ui/StatusWindow.h"

#include <QGroupBox>
#include <QLabel>
#include <QPushButton>
#include <QTranslator>
#include <QtTest>

class TestStatusWindow final : public QObject
{
    Q_OBJECT

    static QStringList texts(const StatusWindow& window)
    {
        QStringList texts;
        for (const QLabel* label : window.findChildren<QLabel*>())
            texts << label->text();
        for (const QPushButton* button : window.findChildren<QPushButton*>())
            texts << button->text();
        for (const QGroupBox* box : window.findChildren<QGroupBox*>())
            texts << box->title();
        return texts;
    }

private slots:
    // Each value stands right of its caption on the same line; the banner is left of them all and
    // the close button at the bottom right.
    void layout()
    {
        StatusWindow window;
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        QList<QLabel*> labels = window.findChildren<QLabel*>();
        const auto at = [&window](const QWidget* widget) {
            return widget->mapTo(&window, QPoint(0, 0));
        };
        // The banner is the tall picture.
        const QLabel* banner
            = *std::find_if(labels.begin(), labels.end(), [](QLabel* l) { return l->height() > 300; });
        int captions = 0;
        for (const QLabel* caption : labels) {
            if (!caption->text().endsWith(':'))
                continue;
            ++captions;
            const auto value = std::find_if(labels.begin(), labels.end(), [&](QLabel* l) {
                return l->parent() == caption->parent() && at(l).y() == at(caption).y()
                    && at(l).x() > at(caption).x();
            });
            QVERIFY2(value != labels.end(), qPrintable(caption->text()));
            QVERIFY(at(banner).x() + banner->width() <= at(caption).x());
        }
        QCOMPARE(captions, 10);
        // The title stands out above them.
        const QLabel* title = *std::find_if(labels.begin(), labels.end(),
                                            [](QLabel* l) { return l->text() == QLatin1String("Trevanta"); });
        QVERIFY(title->font().bold() && title->font().pointSize() > labels.last()->font().pointSize());
        const QPushButton* update = window.findChildren<QPushButton*>().first();
        QVERIFY(at(update).x() > window.width() / 2 && at(update).y() < window.height() / 2);
        const QPushButton* close = window.findChildren<QPushButton*>().last();
        QVERIFY(at(close).x() > window.width() / 2 && at(close).y() > window.height() * 3 / 4);
        // Nothing is drawn over anything else.
        const QList<QWidget*> widgets = window.findChildren<QWidget*>();
        for (const QWidget* a : widgets) {
            for (const QWidget* b : widgets)
                QVERIFY(a == b || a->parent() != b->parent() || !a->geometry().intersects(b->geometry()));
        }
    }

    // It opens with room for a definitions version of the form the daemon sends; made wider,
    // it gives the values the larger share.
    void sizing()
    {
        StatusWindow window;
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        const QSize opened = window.size();
        window.setDefinitionsVersion(QStringLiteral("12/31/2027 rev. 99"));
        QCoreApplication::sendPostedEvents();
        QCOMPARE(window.size(), opened);

        const QList<QLabel*> labels = window.findChildren<QLabel*>();
        QLabel* caption = *std::find_if(labels.begin(), labels.end(),
                                        [](QLabel* l) { return l->text() == QLatin1String("Program:"); });
        QLabel* value = labels.at(labels.indexOf(caption) + 1);
        const int captionWidth = caption->width();
        const int valueWidth = value->width();
        window.resize(opened.width() + 300, opened.height());
        QTRY_VERIFY(value->width() > valueWidth + 150);
        QVERIFY(caption->width() > captionWidth + 50);
        QVERIFY(value->width() - valueWidth > caption->width() - captionWidth);
    }

    // What the daemons and the management server send is never read as markup.
    void valuesArePlainText()
    {
        StatusWindow window;
        const QString markup = QStringLiteral("<font color=green>safe</font>");
        for (const auto setter :
             {&StatusWindow::setProductVersion, &StatusWindow::setEngineVersion,
              &StatusWindow::setDefinitionsVersion, &StatusWindow::setScannerState,
              &StatusWindow::setScanState, &StatusWindow::setServer, &StatusWindow::setGroup,
              &StatusWindow::setConnectedTime, &StatusWindow::setLocation, &StatusWindow::setPolicyNumber})
            (window.*setter)(markup);
        int shown = 0;
        for (const QLabel* label : window.findChildren<QLabel*>()) {
            if (label->text() == markup) {
                QCOMPARE(label->textFormat(), Qt::PlainText);
                ++shown;
            }
        }
        QCOMPARE(shown, 10);
    }

    // A language chosen while the window is open reaches every caption, and a running update
    // keeps saying so.
    void takesANewLanguage()
    {
        StatusWindow window;
        window.setUpdateRunning(true);
        window.setScannerState(QStringLiteral("Enabled"));
        QTranslator german;
        QVERIFY(german.load(QStringLiteral("wardlet_de"), QStringLiteral(TRANSLATIONS_DIR)));
        QCoreApplication::installTranslator(&german);
        QTRY_VERIFY(texts(window).contains(QStringLiteral("Programm:")));
        const QStringList shown = texts(window);
        for (const char* text :
             {"Programm:", "Scan-Engine:", "Version:", "Vigilon:", "Prüfung:", "Server:", "Gruppe:",
              "Zuletzt verbunden:", "Standort:", "Richtlinien-Seriennummer:", "&Novarel läuft", "&Schließen",
              "Trevanta", "Enabled", "Programmversion", "Virendefinitionen", "Status", "Verwaltung"})
            QVERIFY2(shown.contains(QString::fromUtf8(text)), text);
        QCOMPARE(window.findChildren<QPushButton*>().first()->shortcut(),
                 QKeySequence(QStringLiteral("Alt+N")));
        QCoreApplication::removeTranslator(&german);
    }

    // A translation may give the buttons other shortcuts than their underlined letters.
    void shortcutsAreTranslated()
    {
        struct Keys final : QTranslator
        {
            bool isEmpty() const override { return false; }
            QString translate(const char*, const char* text, const char*, int) const override
            {
                return qstrncmp(text, "Alt+", 4) ? QString() : QStringLiteral("Shift+") + (text + 4);
            }
        } keys;
        StatusWindow window;
        QCoreApplication::installTranslator(&keys);
        const QList<QPushButton*> buttons = window.findChildren<QPushButton*>();
        QTRY_COMPARE(buttons.first()->shortcut(), QKeySequence(QStringLiteral("Shift+N")));
        QCOMPARE(buttons.last()->shortcut(), QKeySequence(QStringLiteral("Shift+C")));
        QCoreApplication::removeTranslator(&keys);
    }
};

QTEST_MAIN(TestStatusWindow)
#include "TestStatusWindow.moc"
