#include "ui/StatusWindow.h"

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
        return texts;
    }

private slots:
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
        for (const char* text : {"Programm:", "Scan-Engine:", "Version:", "Vigilon:", "Prüfung:", "Server:",
                                 "Gruppe:", "Zuletzt verbunden:", "Standort:", "Richtlinien-Seriennummer:",
                                 "&Novarel läuft", "&Schließen", "Trevanta", "Enabled"})
            QVERIFY2(shown.contains(QString::fromUtf8(text)), text);
        QCOMPARE(window.findChildren<QPushButton*>().first()->shortcut(),
                 QKeySequence(QStringLiteral("Alt+N")));
        QCoreApplication::removeTranslator(&german);
    }
};

QTEST_MAIN(TestStatusWindow)
#include "TestStatusWindow.moc"
