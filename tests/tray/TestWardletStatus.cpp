#include "tray/WardletApp.h"

#include <QMetaMethod>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTranslator>
#include <QtTest>

#include <unistd.h>

namespace {

// Every change signal of the application, in the order they were emitted.
QStringList* recordSignals(WardletApp& app)
{
    auto* log = new QStringList;
    const auto text = [log](const char* name) {
        return [log, name](const QString& value) {
            log->append(QLatin1String(name) + QLatin1Char('=') + value);
        };
    };
    const auto flag = [log](const char* name) {
        return [log, name](bool value) {
            log->append(QLatin1String(name) + (value ? "=true" : "=false"));
        };
    };
    QObject::connect(&app, &WardletApp::alertCountChanged, &app,
                     [log](int count) { log->append(QStringLiteral("alertCount=%1").arg(count)); });
    QObject::connect(&app, &WardletApp::VGStatusStrChanged, &app, text("VG"));
    QObject::connect(&app, &WardletApp::KVSStatusStrChanged, &app, text("KVS"));
    QObject::connect(&app, &WardletApp::PDXStatusStrChanged, &app, text("PDX"));
    QObject::connect(&app, &WardletApp::NRAllowedChanged, &app, flag("NRAllowed"));
    QObject::connect(&app, &WardletApp::ScanStatusStrChanged, &app, text("Scan"));
    QObject::connect(&app, &WardletApp::productVersionChanged, &app, text("product"));
    QObject::connect(&app, &WardletApp::engineVersionChanged, &app, text("engine"));
    QObject::connect(&app, &WardletApp::defsVersionChanged, &app, text("defs"));
    QObject::connect(&app, &WardletApp::showIconChanged, &app, flag("showIcon"));
    QObject::connect(&app, &WardletApp::ServerAddressStatusChanged, &app, text("server"));
    QObject::connect(&app, &WardletApp::GroupInfoStatusChanged, &app, text("group"));
    QObject::connect(&app, &WardletApp::ConnectedTimeStatusChanged, &app, text("connected"));
    QObject::connect(&app, &WardletApp::LocationInfoStatusChanged, &app, text("location"));
    QObject::connect(&app, &WardletApp::PolicyNumStatusChanged, &app, text("policy"));
    return log;
}

// Stands in for a compiled translation: German for a few of the application's texts.
class GermanTranslator : public QTranslator
{
public:
    QString translate(const char* context, const char* source, const char* disambiguation, int) const override
    {
        if (qstrcmp(context, "WardletApp") != 0)
            return QString();
        if (qstrcmp(source, "Enabled") == 0 && qstrcmp(disambiguation, "VGStatus") == 0)
            return QStringLiteral("Aktiviert");
        if (qstrcmp(source, "Disabled") == 0 && qstrcmp(disambiguation, "PDXStatus") == 0)
            return QStringLiteral("Deaktiviert");
        if (qstrcmp(source, "Never run") == 0 && qstrcmp(disambiguation, "ScanStatus") == 0)
            return QStringLiteral("Nie gelaufen");
        return QString();
    }
    bool isEmpty() const override { return false; }
};

} // namespace

class TestWardletStatus : public QObject
{
    Q_OBJECT

public:
    explicit TestWardletStatus(WardletApp& app)
        : app(app)
        , log(recordSignals(app))
    { }
    ~TestWardletStatus() override { delete log; }

private slots:
    // Every case starts from the state a lost channel leaves behind.
    void init()
    {
        app.resetKvsStatus();
        app.resetPdxStatus();
        for (auto setter :
             {&WardletApp::setProductVersion, &WardletApp::setEngineVersion, &WardletApp::setDefsVersion})
            (app.*setter)(QString());
        log->clear();
    }

    void signalsAndPropertyAsDaemonToolsExpectThem()
    {
        const QMetaObject* meta = app.metaObject();
        QStringList declared;
        for (int i = meta->methodOffset(); i < meta->methodCount(); ++i) {
            if (meta->method(i).methodType() == QMetaMethod::Signal)
                declared << QString::fromLatin1(meta->method(i).methodSignature());
        }
        QCOMPARE(declared,
                 (QStringList{"alertCountChanged(int)", "VGStatusStrChanged(QString)",
                              "KVSStatusStrChanged(QString)", "PDXStatusStrChanged(QString)",
                              "NRAllowedChanged(bool)", "ScanStatusStrChanged(QString)",
                              "productVersionChanged(QString)", "engineVersionChanged(QString)",
                              "defsVersionChanged(QString)", "showIconChanged(bool)",
                              "ServerAddressStatusChanged(QString)", "GroupInfoStatusChanged(QString)",
                              "ConnectedTimeStatusChanged(QString)", "LocationInfoStatusChanged(QString)",
                              "PolicyNumStatusChanged(QString)"}));
        QStringList slotList;
        for (int i = meta->methodOffset(); i < meta->methodCount(); ++i) {
            if (meta->method(i).methodType() == QMetaMethod::Slot)
                slotList << QString::fromLatin1(meta->method(i).methodSignature());
        }
        QCOMPARE(slotList,
                 (QStringList{"begin()",
                              "socketEOF()",
                              "socketCheck()",
                              "showMain()",
                              "byebye()",
                              "sendRequest()",
                              "requestNR()",
                              "displayAlert(qelUI::Alert)",
                              "resetAlerts()",
                              "setVGStatus(VGEnabledStatus)",
                              "getVGStatusStr()",
                              "setKVSStatus(bool)",
                              "getKVSStatusStr()",
                              "setPDXStatus(enumProtectionState)",
                              "getPDXStatusStr()",
                              "setNRAllowed(bool)",
                              "NRComplete(int,QProcess::ExitStatus)",
                              "NRStarted()",
                              "NRError(QProcess::ProcessError)",
                              "setScanStatus(int)",
                              "getScanStatusStr()",
                              "getScanStatusStr(bool)",
                              "getProductVersion()",
                              "setProductVersion(QString)",
                              "getEngineVersion()",
                              "setEngineVersion(QString)",
                              "getDefsVersion()",
                              "setDefsVersion(QString)",
                              "setShowIcon(bool)",
                              "setServerAddress(QString)",
                              "setGroupInfo(QString)",
                              "setConnectedTime(QString)",
                              "setLocationInfo(QString)",
                              "setPolicyNumber(QString)",
                              "iconClosed()",
                              "recreateIcon()",
                              "pdxNotify()"}));

        const QMetaProperty property = meta->property(meta->indexOfProperty("showIcon"));
        QVERIFY(property.isValid());
        QCOMPARE(property.typeName(), "bool");
        QVERIFY(property.isWritable());
        QVERIFY(property.isDesignable());
        QVERIFY(property.isScriptable());
        QVERIFY(property.isStored());
        QVERIFY(!property.hasNotifySignal());
    }

    void textSettersEmitOnlyOnChange()
    {
        app.setProductVersion(QStringLiteral(""));
        app.setGroupInfo(QString());
        QCOMPARE(*log, QStringList());
        app.setProductVersion(QStringLiteral("8.2"));
        app.setProductVersion(QStringLiteral("8.2"));
        app.setEngineVersion(QStringLiteral("5.1"));
        app.setProductVersion(QString());
        QCOMPARE(*log, (QStringList{"product=8.2", "engine=5.1", "product="}));
        QCOMPARE(app.getEngineVersion(), QStringLiteral("5.1"));
    }

    void codeSettersEmitTheirTextOnChange()
    {
        app.setVGStatus(VGEnabledStatus(7));
        app.setVGStatus(VGMalfunctioning);
        app.setVGStatus(VGEnabled);
        app.setVGStatus(VGEnabled);
        app.setKVSStatus(true);
        app.setKVSStatus(true);
        app.setPDXStatus(ProtectionSelfManaged);
        app.setPDXStatus(ProtectionOnline);
        app.setPDXStatus(ProtectionOffline);
        app.setPDXStatus(ProtectionUnknown);
        QCOMPARE(*log,
                 (QStringList{"VG=Malfunctioning", "VG=Malfunctioning", "VG=Enabled", "KVS=Running",
                              "PDX=Running", "PDX=Running", "PDX=Running", "PDX=Unknown"}));
    }

    void updatePermissionIsAnnouncedOnEveryCall()
    {
        app.setNRAllowed(true);
        app.setNRAllowed(true);
        app.setNRAllowed(false);
        QCOMPARE(*log, (QStringList{"NRAllowed=true", "NRAllowed=true", "NRAllowed=false"}));
    }

    void scanStatusTexts_data()
    {
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("collapsed");
        const QStringList texts{"Unknown status",
                                "Starting",
                                "Started",
                                "Stopping",
                                "Done",
                                "Scanning directories",
                                "Scanning boot sector",
                                "Scanning memory",
                                "Scanning files",
                                "Never run",
                                "Aborted",
                                "Queued",
                                "Delayed",
                                "Scanning proccesses",
                                "Unknown status",
                                "Unknown status",
                                "Suspended",
                                "Resumed",
                                "Unknown status"};
        for (int code = 0; code < texts.size(); ++code)
            QTest::addRow("%d", code)
                << code << texts.at(code) << (code == 9 ? QStringLiteral("Done") : texts.at(code));
        QTest::newRow("large") << 1000 << "Unknown status"
                               << "Unknown status";
        QTest::newRow("negative") << -4 << "Unknown status"
                                  << "Unknown status";
    }

    void scanStatusTexts()
    {
        QFETCH(int, code);
        QFETCH(QString, text);
        QFETCH(QString, collapsed);
        app.setScanStatus(code);
        QCOMPARE(app.getScanStatusStr(), text);
        QCOMPARE(app.getScanStatusStr(false), text);
        QCOMPARE(app.getScanStatusStr(true), collapsed);
        QCOMPARE(*log, code == 0 ? QStringList() : QStringList{"Scan=" + collapsed});
    }

    void unknownScanCodesStillCountAsChanges()
    {
        app.setScanStatus(14);
        app.setScanStatus(0);
        QCOMPARE(*log, (QStringList{"Scan=Unknown status", "Scan=Unknown status"}));
    }

    void losingTheScanDaemonResetsItsFieldsInOrder()
    {
        app.setVGStatus(VGEnabled);
        app.setKVSStatus(true);
        app.setNRAllowed(true);
        app.setScanStatus(8);
        app.setProductVersion(QStringLiteral("8.2"));
        log->clear();
        app.resetKvsStatus();
        QCOMPARE(
            *log,
            (QStringList{"VG=Malfunctioning", "KVS=Disabled", "NRAllowed=false", "Scan=Unknown status"}));
        QCOMPARE(app.getProductVersion(), QStringLiteral("8.2"));

        log->clear();
        app.resetKvsStatus();
        QCOMPARE(*log, QStringList{"NRAllowed=false"});
    }

    void losingTheManagementClientResetsItsFieldsInOrder()
    {
        app.resetPdxStatus();
        QCOMPARE(*log, QStringList());

        app.setPDXStatus(ProtectionOnline);
        app.setServerAddress(QStringLiteral("10.0.0.1"));
        app.setGroupInfo(QStringLiteral("Sales"));
        app.setConnectedTime(QStringLiteral("now"));
        app.setLocationInfo(QStringLiteral("HQ"));
        app.setPolicyNumber(QStringLiteral("ABCD"));
        log->clear();
        app.resetPdxStatus();
        QCOMPARE(*log,
                 (QStringList{"PDX=Disabled", "server=", "group=", "connected=", "location=", "policy="}));
        QCOMPARE(app.getPDXStatusStr(), QStringLiteral("Disabled"));
    }

    void showIconIsSavedOnEveryCall()
    {
        QSettings settings(QSettings::UserScope, QStringLiteral("trevanta.example"),
                           QStringLiteral("wardlet"));
        app.setShowIcon(false);
        app.setShowIcon(false);
        settings.sync();
        QCOMPARE(settings.value(QStringLiteral("Wardlet/ShowIcon")).toBool(), false);
        QCOMPARE(app.property("showIcon").toBool(), false);
        QVERIFY(app.setProperty("showIcon", true));
        settings.sync();
        QCOMPARE(settings.value(QStringLiteral("Wardlet/ShowIcon")).toBool(), true);
        QCOMPARE(*log, (QStringList{"showIcon=false", "showIcon=true"}));
    }

    void textsAreTranslatedWhenAsked()
    {
        app.setVGStatus(VGEnabled);
        app.setScanStatus(9);
        GermanTranslator german;
        QCoreApplication::installTranslator(&german);
        QCOMPARE(app.getVGStatusStr(), QStringLiteral("Aktiviert"));
        QCOMPARE(app.getScanStatusStr(), QStringLiteral("Nie gelaufen"));
        QCOMPARE(app.getPDXStatusStr(), QStringLiteral("Deaktiviert"));
        QCOMPARE(app.getKVSStatusStr(), QStringLiteral("Disabled"));
        QCoreApplication::removeTranslator(&german);
        QCOMPARE(app.getVGStatusStr(), QStringLiteral("Enabled"));
    }

private:
    WardletApp& app;
    QStringList* log;
};

int main(int argc, char** argv)
{
    QTemporaryDir config;
    qputenv("XDG_CONFIG_HOME", config.path().toLocal8Bit());
    qputenv("WARDLET_SOCKET_SUFFIX", ".test-status-" + QByteArray::number(::getpid()));
    WardletApp app(argc, argv);
    app.initialize();
    TestWardletStatus test(app);
    return QTest::qExec(&test, argc, argv);
}

#include "TestWardletStatus.moc"
