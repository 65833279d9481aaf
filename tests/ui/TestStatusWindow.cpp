#include "ui/StatusWindow.h"

#include <QLabel>
#include <QPushButton>
#include <QSignalSpy>
#include <QtTest>

class TestStatusWindow final : public QObject
{
    Q_OBJECT

    static QString label(const StatusWindow& window, const char* name)
    {
        return window.findChild<QLabel*>(QLatin1String(name))->text();
    }

private slots:
    void showsEachValueInItsRow()
    {
        StatusWindow window;
        const QList<std::pair<void (StatusWindow::*)(const QString&), const char*>> rows{
            {&StatusWindow::setProductVersion, "programVersion"},
            {&StatusWindow::setEngineVersion, "engineVersion"},
            {&StatusWindow::setDefinitionsVersion, "definitionsVersion"},
            {&StatusWindow::setScannerState, "scannerState"},
            {&StatusWindow::setScanState, "scanState"},
            {&StatusWindow::setServer, "server"},
            {&StatusWindow::setGroup, "group"},
            {&StatusWindow::setConnectedTime, "connectedTime"},
            {&StatusWindow::setLocation, "location"},
            {&StatusWindow::setPolicyNumber, "policyNumber"}};
        for (const auto& [setter, name] : rows) {
            QVERIFY(label(window, name).trimmed().isEmpty());
            (window.*setter)(QString::fromLatin1(name) + "!");
        }
        for (const auto& [setter, name] : rows)
            QCOMPARE(label(window, name), QString::fromLatin1(name) + "!");
        (window.*rows[2].first)(QString());
        QCOMPARE(label(window, "definitionsVersion"), QString());
    }

    void captions()
    {
        StatusWindow window;
        QCOMPARE(window.windowTitle(), QStringLiteral("Trevanta"));
        QStringList captions;
        for (const char* name :
             {"programCaption", "engineCaption", "definitionsCaption", "scannerCaption", "scanCaption",
              "serverCaption", "groupCaption", "connectedCaption", "locationCaption", "policyCaption"})
            captions << label(window, name);
        QCOMPARE(captions,
                 (QStringList{"Program:", "Scan Engine:", "Version:", "Vigilon:", "Scan:", "Server:",
                              "Group:", "Last Connected:", "Location:", "Policy Serial Number:"}));
    }

    void updateButton()
    {
        StatusWindow window;
        auto* button = window.findChild<QPushButton*>("updateButton");
        QSignalSpy requested(&window, &StatusWindow::updateRequested);
        window.setUpdateEnabled(true);
        button->click();
        QCOMPARE(requested.count(), 1);
        window.setUpdateRunning(true);
        QCOMPARE(button->text(), QStringLiteral("&Novarel is running"));
        QVERIFY(button->isEnabled());
        window.setUpdateEnabled(false);
        button->click();
        QCOMPARE(requested.count(), 1);
        window.setUpdateRunning(false);
        QCOMPARE(button->text(), QStringLiteral("&Novarel"));
    }
};

QTEST_MAIN(TestStatusWindow)
#include "TestStatusWindow.moc"
