#include "ui/MainView.h"

#include <QApplication>
#include <QGroupBox>
#include <QHash>
#include <QLabel>
#include <QMetaMethod>
#include <QPointer>
#include <QPushButton>
#include <QSignalSpy>
#include <QTranslator>
#include <QtTest>

namespace {

const QString TenBlanks(10, QLatin1Char(' '));
const QString SixteenBlanks(16, QLatin1Char(' '));

// Missing widgets show up as a readable mismatch instead of a crash.
QString labelText(const MainView& view, const QString& name)
{
    const auto* label = view.findChild<QLabel*>(name);
    return label ? label->text() : QStringLiteral("<no label %1>").arg(name);
}

QString boxTitle(const MainView& view, const QString& name)
{
    const auto* box = view.findChild<QGroupBox*>(name);
    return box ? box->title() : QStringLiteral("<no group %1>").arg(name);
}

QString buttonText(const MainView& view, const QString& name)
{
    const auto* button = view.findChild<QPushButton*>(name);
    return button ? button->text() : QStringLiteral("<no button %1>").arg(name);
}

// One row per text slot, tagged with the slot's name.
void addSlotRow(const char* slot, const char* label, const char* value)
{
    QTest::newRow(slot) << QByteArray(slot) << QString::fromLatin1(label) << QString::fromLatin1(value);
}

// A German translation of a few captions, enough to see the window retranslate itself.
class GermanCaptions : public QTranslator
{
public:
    bool isEmpty() const override { return false; }

    QString translate(const char* context, const char* sourceText, const char* disambiguation,
                      int n) const override
    {
        Q_UNUSED(n);
        if (qstrcmp(context, "MainView") != 0)
            return QString();
        const QString source = QString::fromUtf8(sourceText);
        if (source == QLatin1String("Trevanta"))
            return qstrcmp(disambiguation, "title") == 0 ? QStringLiteral("Trevanta Übersicht") : QString();
        static const QHash<QString, QString> captions{
            {QStringLiteral("Program Version"), QStringLiteral("Programmversion")},
            {QStringLiteral("Program:"), QStringLiteral("Programm:")},
            {QStringLiteral("Status"), QStringLiteral("Zustand")},
            {QStringLiteral("Last Connected:"), QStringLiteral("Zuletzt verbunden:")},
            {QStringLiteral("&Novarel"), QStringLiteral("&Novarel starten")},
            {QStringLiteral("&Close"), QStringLiteral("&Schließen")},
            {QStringLiteral("Alt+C"), QStringLiteral("Alt+S")},
        };
        return captions.value(source);
    }
};

} // namespace

class TestMainView : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        // As in the application, which lives on in the tray with no window open.
        QApplication::setQuitOnLastWindowClosed(false);
    }

    void freshWindowShowsCaptionsAndBlankValues()
    {
        MainView view;
        QCOMPARE(view.windowTitle(), QStringLiteral("Trevanta"));
        QCOMPARE(labelText(view, "titleLabel"), QStringLiteral("Trevanta"));
        QCOMPARE(boxTitle(view, "versionsBox"), QStringLiteral("Program Version"));
        QCOMPARE(boxTitle(view, "defsBox"), QStringLiteral("Definitions"));
        QCOMPARE(boxTitle(view, "statusBox"), QStringLiteral("Status"));
        QCOMPARE(boxTitle(view, "manageBox"), QStringLiteral("Management"));
        QCOMPARE(labelText(view, "ver1"), QStringLiteral("Program:"));
        QCOMPARE(labelText(view, "ver2"), QStringLiteral("Scan Engine:"));
        QCOMPARE(labelText(view, "defsLabel"), QStringLiteral("Version:"));
        QCOMPARE(labelText(view, "VGLabel"), QStringLiteral("Vigilon:"));
        QCOMPARE(labelText(view, "ScanLabel"), QStringLiteral("Scan:"));
        QCOMPARE(labelText(view, "ServerLabel"), QStringLiteral("Server:"));
        QCOMPARE(labelText(view, "GroupLabel"), QStringLiteral("Group:"));
        QCOMPARE(labelText(view, "ConnectLabel"), QStringLiteral("Last Connected:"));
        QCOMPARE(labelText(view, "LocationLabel"), QStringLiteral("Location:"));
        QCOMPARE(labelText(view, "PolicyNumLabel"), QStringLiteral("Policy Serial Number:"));
        QCOMPARE(buttonText(view, "updateButton"), QStringLiteral("&Novarel"));
        QCOMPARE(buttonText(view, "closeButton"), QStringLiteral("&Close"));

        for (const char* name : {"programVer", "engineVer", "VGStatus", "ScanStatus", "ServerStatus",
                                 "GroupStatus", "ConnectStatus", "LocationStatus", "PolicyNumStatus"})
            QCOMPARE(labelText(view, name), TenBlanks);
        QCOMPARE(labelText(view, "defsValue"), SixteenBlanks);
    }

    void buttonsHaveAltShortcuts()
    {
        MainView view;
        const auto* update = view.findChild<QPushButton*>("updateButton");
        const auto* close = view.findChild<QPushButton*>("closeButton");
        QVERIFY(update);
        QVERIFY(close);
        QCOMPARE(update->shortcut(), QKeySequence(Qt::ALT | Qt::Key_N));
        QCOMPARE(close->shortcut(), QKeySequence(Qt::ALT | Qt::Key_C));
    }

    void showsBannerBoldTitleAndIcon()
    {
        MainView view;
        const auto* image = view.findChild<QLabel*>("imageLabel");
        const auto* title = view.findChild<QLabel*>("titleLabel");
        QVERIFY(image);
        QVERIFY(title);
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
        const QPixmap banner = image->pixmap();
#else
        const QPixmap banner = image->pixmap(Qt::ReturnByValue);
#endif
        QCOMPARE(banner.size(), QSize(100, 387));
        QCOMPARE(title->font().pointSize(), 22);
        QVERIFY(title->font().bold());
        QVERIFY(!view.windowIcon().isNull());
    }

    void opensLargeEnoughForLongestDefinitions()
    {
        MainView view;
        const QSize opened = view.size();
        QVERIFY(opened.width() >= 100);
        QVERIFY(opened.height() >= 100);

        view.setDefsVersion(QStringLiteral("00/00/0000 rev. 00"));
        QCOMPARE(opened, view.minimumSizeHint().expandedTo(QSize(100, 100)));

        view.show();
        QVERIFY(QTest::qWaitForWindowExposed(&view));
        QCOMPARE(view.size(), opened);
        const auto* defs = view.findChild<QLabel*>("defsValue");
        QVERIFY(defs);
        const int needed = defs->sizeHint().width();
        QVERIFY2(needed <= defs->width(),
                 qPrintable(QStringLiteral("needs %1, has %2").arg(needed).arg(defs->width())));
    }

    void slotSetsItsLabel_data()
    {
        QTest::addColumn<QByteArray>("slot");
        QTest::addColumn<QString>("label");
        QTest::addColumn<QString>("value");
        addSlotRow("setProgramVersion", "programVer", "11.0.4000");
        addSlotRow("setEngineVersion", "engineVer", "4.2.17");
        addSlotRow("setDefsVersion", "defsValue", "03/14/2024 rev. 7");
        addSlotRow("setVGStatus", "VGStatus", "Enabled");
        addSlotRow("setScanStatus", "ScanStatus", "Idle");
        addSlotRow("setServerStatus", "ServerStatus", "mgmt.example.org");
        addSlotRow("setGroupStatus", "GroupStatus", "Lab\\Workstations");
        addSlotRow("setConnectStatus", "ConnectStatus", "2024-03-14 09:12");
        addSlotRow("setLocationStatus", "LocationStatus", "Office");
        addSlotRow("setPolicyNumStatus", "PolicyNumStatus", "A1B2-0042");
    }

    void slotSetsItsLabel()
    {
        QFETCH(QByteArray, slot);
        QFETCH(QString, label);
        QFETCH(QString, value);
        MainView view;
        QVERIFY(QMetaObject::invokeMethod(&view, slot.constData(), Q_ARG(QString, value)));
        QCOMPARE(labelText(view, label), value);
    }

    void slotWithEmptyTextEmptiesItsLabel_data()
    {
        slotSetsItsLabel_data();
    }

    void slotWithEmptyTextEmptiesItsLabel()
    {
        QFETCH(QByteArray, slot);
        QFETCH(QString, label);
        QFETCH(QString, value);
        MainView view;
        QVERIFY(QMetaObject::invokeMethod(&view, slot.constData(), Q_ARG(QString, value)));
        QVERIFY(QMetaObject::invokeMethod(&view, slot.constData(), Q_ARG(QString, QString())));
        QCOMPARE(labelText(view, label), QString());
    }

    void updateButtonFollowsAllowedAndRunning()
    {
        MainView view;
        const auto* update = view.findChild<QPushButton*>("updateButton");
        QVERIFY(update);

        view.setNRAllowed(false);
        QVERIFY(!update->isEnabled());
        view.setNRRunning(true);
        QCOMPARE(update->text(), QStringLiteral("&Novarel is running"));
        QVERIFY(!update->isEnabled());
        view.setNRRunning(false);
        QCOMPARE(update->text(), QStringLiteral("&Novarel"));
        QVERIFY(!update->isEnabled());

        view.setNRAllowed(true);
        QVERIFY(update->isEnabled());
        view.setNRRunning(true);
        QCOMPARE(update->text(), QStringLiteral("&Novarel is running"));
        QVERIFY(update->isEnabled());
    }

    void runningCaptionSurvivesLanguageChange()
    {
        MainView view;
        view.setNRRunning(true);
        QEvent change(QEvent::LanguageChange);
        QCoreApplication::sendEvent(&view, &change);
        QCOMPARE(buttonText(view, "updateButton"), QStringLiteral("&Novarel is running"));
    }

    void clickRequestsUpdateOnce()
    {
        MainView view;
        view.show();
        QVERIFY(QTest::qWaitForWindowExposed(&view));
        auto* update = view.findChild<QPushButton*>("updateButton");
        QVERIFY(update);
        QSignalSpy requested(&view, &MainView::NRRequested);
        QTest::mouseClick(update, Qt::LeftButton);
        QCOMPARE(requested.count(), 1);
    }

    void disabledButtonRequestsNothing()
    {
        MainView view;
        view.setNRAllowed(false);
        view.show();
        QVERIFY(QTest::qWaitForWindowExposed(&view));
        auto* update = view.findChild<QPushButton*>("updateButton");
        QVERIFY(update);
        QSignalSpy requested(&view, &MainView::NRRequested);
        QTest::mouseClick(update, Qt::LeftButton);
        update->click();
        QCOMPARE(requested.count(), 0);
    }

    void closingHidesAndKeepsValues()
    {
        QPointer<MainView> view = new MainView;
        view->setProgramVersion(QStringLiteral("11.0.4000"));
        view->setDefsVersion(QStringLiteral("03/14/2024 rev. 7"));
        view->show();
        QVERIFY(QTest::qWaitForWindowExposed(view));

        QVERIFY(view->close());
        QVERIFY(!view->isVisible());
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(view);
        QCOMPARE(labelText(*view, "programVer"), QStringLiteral("11.0.4000"));
        QCOMPARE(labelText(*view, "defsValue"), QStringLiteral("03/14/2024 rev. 7"));

        view->show();
        QVERIFY(QTest::qWaitForWindowExposed(view));
        auto* close = view->findChild<QPushButton*>("closeButton");
        QVERIFY(close);
        QTest::mouseClick(close, Qt::LeftButton);
        QVERIFY(!view->isVisible());
        QCOMPARE(labelText(*view, "programVer"), QStringLiteral("11.0.4000"));
        delete view;
    }

    void translatorRetranslatesCaptions()
    {
        MainView view;
        view.setProgramVersion(QStringLiteral("11.0.4000"));
        view.setNRRunning(false);
        GermanCaptions german;
        QVERIFY(QCoreApplication::installTranslator(&german));
        QCoreApplication::sendPostedEvents(&view, QEvent::LanguageChange);

        QCOMPARE(view.windowTitle(), QStringLiteral("Trevanta Übersicht"));
        QCOMPARE(labelText(view, "titleLabel"), QStringLiteral("Trevanta"));
        QCOMPARE(boxTitle(view, "versionsBox"), QStringLiteral("Programmversion"));
        QCOMPARE(labelText(view, "ver1"), QStringLiteral("Programm:"));
        QCOMPARE(boxTitle(view, "statusBox"), QStringLiteral("Zustand"));
        QCOMPARE(labelText(view, "ConnectLabel"), QStringLiteral("Zuletzt verbunden:"));
        QCOMPARE(buttonText(view, "updateButton"), QStringLiteral("&Novarel starten"));
        QCOMPARE(buttonText(view, "closeButton"), QStringLiteral("&Schließen"));
        QCOMPARE(view.findChild<QPushButton*>("closeButton")->shortcut(), QKeySequence(Qt::ALT | Qt::Key_S));
        QCOMPARE(labelText(view, "ver2"), QStringLiteral("Scan Engine:"));
        QCOMPARE(labelText(view, "programVer"), QStringLiteral("11.0.4000"));

        QCoreApplication::removeTranslator(&german);
        QCoreApplication::sendPostedEvents(&view, QEvent::LanguageChange);
        QCOMPARE(labelText(view, "ver1"), QStringLiteral("Program:"));
        QCOMPARE(buttonText(view, "closeButton"), QStringLiteral("&Close"));
    }

    void metaObjectListsSignalThenSlots()
    {
        const QMetaObject& meta = MainView::staticMetaObject;
        QStringList declared;
        for (int i = meta.methodOffset(); i < meta.methodCount(); ++i)
            declared << QString::fromLatin1(meta.method(i).methodSignature());
        QCOMPARE(declared,
                 (QStringList{"NRRequested()", "setProgramVersion(QString)", "setEngineVersion(QString)",
                              "setDefsVersion(QString)", "setVGStatus(QString)", "setScanStatus(QString)",
                              "setServerStatus(QString)", "setGroupStatus(QString)",
                              "setConnectStatus(QString)", "setLocationStatus(QString)",
                              "setPolicyNumStatus(QString)", "setNRAllowed(bool)", "languageChange()"}));

        QCOMPARE(meta.method(meta.methodOffset()).methodType(), QMetaMethod::Signal);
        for (int i = meta.methodOffset() + 1; i < meta.methodCount(); ++i) {
            const QMetaMethod method = meta.method(i);
            QCOMPARE(method.methodType(), QMetaMethod::Slot);
            const bool isLanguageChange = method.name() == "languageChange";
            QCOMPARE(method.access(), isLanguageChange ? QMetaMethod::Protected : QMetaMethod::Public);
        }
    }
};

QTEST_MAIN(TestMainView)
#include "TestMainView.moc"
