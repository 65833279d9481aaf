#include "SignalLog.h"
#include "tray/StatusModel.h"

#include <QtTest>

class TestStatusModel final : public QObject
{
    Q_OBJECT

    StatusModel* m_model = nullptr;
    SignalLog m_log;

    QStringList take() { return m_log.take(); }

private slots:
    void init()
    {
        m_model = new StatusModel(this);
        m_log.take();
        m_log.watch(m_model, &StatusModel::protectionChanged, "protection");
        for (const auto& [changed, name] : {std::pair{&StatusModel::scannerTextChanged, "scanner"},
                                            {&StatusModel::scanTextChanged, "scan"},
                                            {&StatusModel::productVersionChanged, "product"},
                                            {&StatusModel::engineVersionChanged, "engine"},
                                            {&StatusModel::definitionsVersionChanged, "defs"},
                                            {&StatusModel::serverChanged, "server"},
                                            {&StatusModel::groupChanged, "group"},
                                            {&StatusModel::connectedTimeChanged, "time"},
                                            {&StatusModel::locationChanged, "location"},
                                            {&StatusModel::policyNumberChanged, "policy"}})
            m_log.watch(m_model, changed, name);
    }

    void cleanup() { delete m_model; }

    void announcesOnlyChanges()
    {
        QCOMPARE(m_model->scannerText(), QStringLiteral("Disabled"));
        m_model->setScannerState(ScannerState::Disabled);
        m_model->setScanDaemonRunning(false);
        m_model->setManagementState(ManagementState::Disabled);
        m_model->setScanStatus(0);
        m_model->setServer(QStringLiteral(""));
        QCOMPARE(take(), QStringList());

        m_model->setScannerState(ScannerState(7));
        m_model->setScannerState(ScannerState::Malfunctioning);
        m_model->setScannerState(ScannerState::NotInstalled);
        m_model->setScanDaemonRunning(true);
        m_model->setManagementState(ManagementState::Online);
        m_model->setManagementState(ManagementState::Offline);
        QCOMPARE(take(),
                 (QStringList{"protection", "scanner=Malfunctioning", "protection", "scanner=Malfunctioning",
                              "protection", "scanner=Not Installed", "protection", "protection",
                              "server=Offline", "protection"}));
    }

    // Each scan state code from 0 on as the status window words it; 0, 14, 15 and 18 are no state.
    void scanTexts_data()
    {
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("text");
        const QStringList texts
            = QString("Unknown status|Starting|Started|Stopping|Done|Scanning directories|"
                      "Scanning boot sector|Scanning memory|Scanning files|Done|Aborted|"
                      "Queued|Delayed|Scanning proccesses|Unknown status|Unknown status|"
                      "Suspended|Resumed|Unknown status")
                  .split('|');
        for (int code = 0; code < texts.size(); ++code)
            QTest::addRow("%d", code) << code << texts.at(code);
        QTest::newRow("-1") << -1 << QStringLiteral("Unknown status");
    }

    void scanTexts()
    {
        QFETCH(int, code);
        QFETCH(QString, text);
        m_model->setScanStatus(code);
        QCOMPARE(m_model->scanText(), text);
    }

    // What the daemons report as values, as the user reads it: times in the user's own zone.
    void valuesBecomeTexts()
    {
        qputenv("TZ", "CET-1");
        tzset();
        m_model->setConnectedTime(1300000000);
        m_model->setDefinitionsRelease({false, QDate(2011, 3, 14), -7});
        m_model->setDefinitionsRelease({true, QDate(2011, 3, 14), 1});
        m_model->setDefinitionsRelease({false, QDate(), 1});
        m_model->setManagementState(ManagementState::Offline);
        m_model->setManagementState(ManagementState::SelfManaged);
        m_model->setConnectedTime(0);
        QCOMPARE(take(),
                 (QStringList{"time=Sun Mar 13 08:06:40 2011", "defs=14 Mar 2011 rev. -7",
                              "defs=Waiting for update", "defs= rev. 1", "server=Offline", "protection",
                              "server=Self-managed", "protection", "time="}));
        qputenv("TZ", "UTC");
        tzset();
    }

    void resets()
    {
        m_model->setScannerState(ScannerState::Enabled);
        m_model->setScanDaemonRunning(true);
        m_model->setScanStatus(8);
        m_model->setManagementState(ManagementState::Online);
        for (const auto setter :
             {&StatusModel::setProductVersion, &StatusModel::setServer, &StatusModel::setGroup,
              &StatusModel::setLocation, &StatusModel::setPolicyNumber})
            (m_model->*setter)(QStringLiteral("x"));
        m_model->setConnectedTime(1300000000);
        take();

        m_model->resetScanDaemon();
        QCOMPARE(take(),
                 (QStringList{"protection", "scanner=Malfunctioning", "protection", "scan=Unknown status"}));
        QCOMPARE(m_model->productVersion(), QStringLiteral("x"));
        m_model->resetScanDaemon();
        QCOMPARE(take(), QStringList());

        m_model->resetManagement();
        QCOMPARE(take(), (QStringList{"protection", "server=", "group=", "time=", "location=", "policy="}));
        QCOMPARE(m_model->managementState(), ManagementState::Disabled);
        m_model->resetManagement();
        QCOMPARE(take(), QStringList());
    }
};

QTEST_MAIN(TestStatusModel)
#include "TestStatusModel.moc"
