#include "ui/MainView.h"

#include <QApplication>
#include <QHash>
#include <QLabel>
#include <QMetaMethod>
#include <QPointer>
#include <QPushButton>
#include <QSignalSpy>
#include <QTranslator>
#include <QtTest>

namespace {

// Label or button texts and group titles, in the order named; a missing widget reads as a mismatch.
QStringList textsOf(const MainView& view, std::initializer_list<const char*> names)
{
    QStringList texts;
    for (const char* name : names) {
        const QObject* child = view.findChild<QObject*>(QLatin1String(name));
        texts << (child ? child->property(child->inherits("QGroupBox") ? "title" : "text").toString()
                        : QStringLiteral("<no widget %1>").arg(QLatin1String(name)));
    }
    return texts;
}

// Enough German to see the window retranslate; "Trevanta" is translated only in its window-title sense.
struct GermanCaptions : QTranslator
{
    bool isEmpty() const override { return false; }
    QString translate(const char* context, const char* source, const char* disambiguation, int) const override
    {
        static const QHash<QByteArray, QString> german{
            {"MainView|Trevanta|title", QStringLiteral("Trevanta Übersicht")},
            {"MainView|Program:|", QStringLiteral("Programm:")},
            {"MainView|&Novarel|", QStringLiteral("&Novarel starten")},
            {"MainView|&Close|", QStringLiteral("&Schließen")},
            {"MainView|Alt+C|", QStringLiteral("Alt+S")},
        };
        return german.value(QByteArray(context) + '|' + source + '|' + disambiguation);
    }
};

} // namespace

class TestMainView : public QObject
{
    Q_OBJECT

private slots:
    // As in the application, which lives on in the tray with no window open.
    void initTestCase() { QApplication::setQuitOnLastWindowClosed(false); }

    void freshWindowShowsCaptionsBlanksAndFitsLongestDefinitions()
    {
        MainView view;
        QCOMPARE(view.windowTitle(), QStringLiteral("Trevanta"));
        QCOMPARE(
            textsOf(view,
                    {"titleLabel", "versionsBox", "defsBox", "statusBox", "manageBox", "ver1", "ver2",
                     "defsLabel", "VGLabel", "ScanLabel", "ServerLabel", "GroupLabel", "ConnectLabel",
                     "LocationLabel", "PolicyNumLabel", "updateButton", "closeButton"}),
            (QStringList{"Trevanta", "Program Version", "Definitions", "Status", "Management",
                         "Program:", "Scan Engine:", "Version:", "Vigilon:", "Scan:", "Server:", "Group:",
                         "Last Connected:", "Location:", "Policy Serial Number:", "&Novarel", "&Close"}));
        for (const char* name : {"programVer", "engineVer", "VGStatus", "ScanStatus", "ServerStatus",
                                 "GroupStatus", "ConnectStatus", "LocationStatus", "PolicyNumStatus"})
            QCOMPARE(textsOf(view, {name}), QStringList(QString(10, QLatin1Char(' '))));
        QCOMPARE(textsOf(view, {"defsValue"}), QStringList(QString(16, QLatin1Char(' '))));

        // The longest definitions text the daemon sends must fit without the window growing.
        const QSize opened = view.size();
        QVERIFY(opened.width() >= 100 && opened.height() >= 100);
        view.setDefsVersion(QStringLiteral("00/00/0000 rev. 00"));
        view.show();
        QVERIFY(QTest::qWaitForWindowExposed(&view));
        QCOMPARE(view.size(), opened);
        const auto* defs = view.findChild<QLabel*>(QStringLiteral("defsValue"));
        QVERIFY(defs);
        QVERIFY(defs->sizeHint().width() <= defs->width());
    }

    // Each slot must set its own label, to a text and back to empty.
    void slotSetsItsLabel_data()
    {
        QTest::addColumn<QByteArray>("slot");
        QTest::addColumn<QByteArray>("label");
        for (const char* row :
             {"setProgramVersion programVer", "setEngineVersion engineVer", "setDefsVersion defsValue",
              "setVGStatus VGStatus", "setScanStatus ScanStatus", "setServerStatus ServerStatus",
              "setGroupStatus GroupStatus", "setConnectStatus ConnectStatus",
              "setLocationStatus LocationStatus", "setPolicyNumStatus PolicyNumStatus"}) {
            const QList<QByteArray> words = QByteArray(row).split(' ');
            QTest::newRow(row) << words[0] << words[1];
        }
    }

    void slotSetsItsLabel()
    {
        QFETCH(QByteArray, slot);
        QFETCH(QByteArray, label);
        MainView view;
        for (const QString& value : {QStringLiteral("11.0.4000"), QString()}) {
            QVERIFY(QMetaObject::invokeMethod(&view, slot.constData(), Q_ARG(QString, value)));
            QCOMPARE(textsOf(view, {label.constData()}), QStringList(value));
        }
    }

    // Allowed decides whether it can be clicked, running only its caption, whatever the order.
    void updateButtonFollowsAllowedAndRunning()
    {
        MainView view;
        view.show();
        QVERIFY(QTest::qWaitForWindowExposed(&view));
        auto* update = view.findChild<QPushButton*>(QStringLiteral("updateButton"));
        QVERIFY(update);
        const auto state = [&] {
            return update->text() + (update->isEnabled() ? "" : " (off)");
        };
        QSignalSpy requested(&view, &MainView::NRRequested);
        QTest::mouseClick(update, Qt::LeftButton);
        QCOMPARE(requested.count(), 1);

        view.setNRRunning(true);
        QCOMPARE(state(), QStringLiteral("&Novarel is running"));
        view.setNRAllowed(false);
        QCOMPARE(state(), QStringLiteral("&Novarel is running (off)"));
        view.setNRRunning(false);
        QCOMPARE(state(), QStringLiteral("&Novarel (off)"));
        QTest::mouseClick(update, Qt::LeftButton);
        QCOMPARE(requested.count(), 1);

        view.setNRRunning(true);
        QEvent change(QEvent::LanguageChange);
        QCoreApplication::sendEvent(&view, &change);
        QCOMPARE(state(), QStringLiteral("&Novarel is running (off)"));
    }

    // The tray shows the same window again, so closing must neither delete it nor lose its values.
    void closingHidesAndKeepsValues()
    {
        QPointer<MainView> view = new MainView;
        view->setProgramVersion(QStringLiteral("11.0.4000"));
        view->show();
        QVERIFY(QTest::qWaitForWindowExposed(view));
        QTest::mouseClick(view->findChild<QPushButton*>(QStringLiteral("closeButton")), Qt::LeftButton);
        QVERIFY(!view->isVisible());
        view->show();
        QVERIFY(view->close());
        QVERIFY(!view->isVisible());
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(view);
        QCOMPARE(textsOf(*view, {"programVer"}), QStringList(QStringLiteral("11.0.4000")));
        delete view;
    }

    void translatorRetranslatesCaptions()
    {
        MainView view;
        view.setProgramVersion(QStringLiteral("11.0.4000"));
        const auto names = {"titleLabel", "ver1", "ver2", "updateButton", "closeButton", "programVer"};
        GermanCaptions german;
        QVERIFY(QCoreApplication::installTranslator(&german));
        QCoreApplication::sendPostedEvents(&view, QEvent::LanguageChange);
        QCOMPARE(view.windowTitle(), QStringLiteral("Trevanta Übersicht"));
        QCOMPARE(textsOf(view, names),
                 (QStringList{"Trevanta", "Programm:", "Scan Engine:", "&Novarel starten", "&Schließen",
                              "11.0.4000"}));
        QCOMPARE(view.findChild<QPushButton*>("closeButton")->shortcut(), QKeySequence(Qt::ALT | Qt::Key_S));

        QCoreApplication::removeTranslator(&german);
        QCoreApplication::sendPostedEvents(&view, QEvent::LanguageChange);
        QCOMPARE(textsOf(view, names),
                 (QStringList{"Trevanta", "Program:", "Scan Engine:", "&Novarel", "&Close", "11.0.4000"}));
    }

    void metaObjectListsSignalThenSlots()
    {
        const QMetaObject& meta = MainView::staticMetaObject;
        // Indexed by QMetaMethod::Access; public slots are the plain case.
        static const char* const slotAccess[] = {"private ", "protected ", ""};
        QStringList declared;
        for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
            const QMetaMethod method = meta.method(i);
            const char* kind = method.methodType() == QMetaMethod::Signal ? "signal "
                : method.methodType() == QMetaMethod::Slot                ? slotAccess[method.access()]
                                                                          : "method ";
            declared << QLatin1String(kind) + QString::fromLatin1(method.methodSignature());
        }
        QCOMPARE(
            declared,
            (QStringList{"signal NRRequested()", "setProgramVersion(QString)", "setEngineVersion(QString)",
                         "setDefsVersion(QString)", "setVGStatus(QString)", "setScanStatus(QString)",
                         "setServerStatus(QString)", "setGroupStatus(QString)", "setConnectStatus(QString)",
                         "setLocationStatus(QString)", "setPolicyNumStatus(QString)", "setNRAllowed(bool)",
                         "protected languageChange()"}));
    }
};

QTEST_MAIN(TestMainView)
#include "TestMainView.moc"
