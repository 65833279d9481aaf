#include "tray/StatusModel.h"

#include <QtTest>

class TestStatusModel final : public QObject
{
    Q_OBJECT

    StatusModel* m_model = nullptr;
    QStringList m_events;

    void watch(void (StatusModel::*changed)(const QString&), const char* name)
    {
        connect(m_model, changed, this,
                [this, name](const QString& text) { m_events << QString::fromLatin1(name) + '=' + text; });
    }

    QStringList take() { return std::exchange(m_events, {}); }

private slots:
    void init()
    {
        m_model = new StatusModel(this);
        m_events.clear();
        connect(m_model, &StatusModel::protectionChanged, this, [this] { m_events << "protection"; });
        watch(&StatusModel::scannerTextChanged, "scanner");
        watch(&StatusModel::scanTextChanged, "scan");
        watch(&StatusModel::productVersionChanged, "product");
        watch(&StatusModel::engineVersionChanged, "engine");
        watch(&StatusModel::definitionsVersionChanged, "defs");
        watch(&StatusModel::serverChanged, "server");
        watch(&StatusModel::groupChanged, "group");
        watch(&StatusModel::connectedTimeChanged, "time");
        watch(&StatusModel::locationChanged, "location");
        watch(&StatusModel::policyNumberChanged, "policy");
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
        QCOMPARE(
            take(),
            (QStringList{"protection", "scanner=Malfunctioning", "protection", "scanner=Malfunctioning",
                         "protection", "scanner=Not Installed", "protection", "protection", "protection"}));

        m_model->setScanStatus(9);
        m_model->setScanStatus(14);
        m_model->setScanStatus(13);
        m_model->setScanStatus(13);
        QCOMPARE(take(), (QStringList{"scan=Done", "scan=Unknown status", "scan=Scanning proccesses"}));
    }

    void resets()
    {
        m_model->setScannerState(ScannerState::Enabled);
        m_model->setScanDaemonRunning(true);
        m_model->setScanStatus(8);
        m_model->setManagementState(ManagementState::Online);
        for (const auto setter :
             {&StatusModel::setProductVersion, &StatusModel::setServer, &StatusModel::setGroup,
              &StatusModel::setConnectedTime, &StatusModel::setLocation, &StatusModel::setPolicyNumber})
            (m_model->*setter)(QStringLiteral("x"));
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
