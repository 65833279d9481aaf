#include "tray/InstallConfig.h"
#include "tray/UpdateLauncher.h"

#include <QApplication>
#include <QMessageBox>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTimer>
#include <QtTest>

class TestUpdateLauncher final : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    QStringList m_events;
    QTimer m_answerer;

    QString path(const QString& name) const { return m_dir.filePath(name); }

    void writeFile(const QString& name, const QByteArray& content, bool executable = false)
    {
        QFile file(path(name));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(content);
        file.close();
        if (executable)
            file.setPermissions(file.permissions() | QFile::ExeOwner);
    }

    void installTool(const QByteArray& script)
    {
        QDir(m_dir.path()).mkpath("install/calvorin_antivirus");
        writeFile("install/calvorin_antivirus/qelnrwrap", "#!/bin/sh\n" + script, true);
    }

    void watch(UpdateLauncher& launcher)
    {
        connect(&launcher, &UpdateLauncher::availabilityChanged, this,
                [this](bool can) { m_events << QStringLiteral("available=%1").arg(can); });
        connect(&launcher, &UpdateLauncher::runningChanged, this,
                [this](bool running) { m_events << QStringLiteral("running=%1").arg(running); });
        connect(&launcher, &UpdateLauncher::finished, this,
                [this](bool success) { m_events << QStringLiteral("finished=%1").arg(success); });
    }

private slots:
    void initTestCase()
    {
        qputenv("WARDLET_CONFIG_FILE", path("Calvorin.conf").toLocal8Bit());
        writeFile("Calvorin.conf", "InstallDir = " + m_dir.path().toLocal8Bit() + "/install\n");
        // Answers the warning boxes as a user would, noting what they said.
        connect(&m_answerer, &QTimer::timeout, this, [this] {
            if (auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget())) {
                m_events << box->windowTitle() + ": " + box->text();
                box->accept();
            }
        });
        m_answerer.start(20);
    }

    void init() { m_events.clear(); }

    void installDirectory_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QByteArray>("directory");
        QTest::newRow("key and word") << QByteArray("dir=/srv/av\n") << QByteArray("/srv/av");
        QTest::newRow("first = counts") << QByteArray("# a=/x y\nb=/z") << QByteArray("/x");
        QTest::newRow("blanks around") << QByteArray("k = \t/opt/x y") << QByteArray("/opt/x");
        QTest::newRow("no =") << QByteArray("/srv/av\n") << QByteArray("/opt/Calvorin");
        QTest::newRow("no word") << QByteArray("dir=  \n") << QByteArray("/opt/Calvorin");
        QTest::newRow("==") << QByteArray("dir==/srv/av") << QByteArray("=/srv/av");
        QTest::newRow("= =") << QByteArray("dir= =/srv/av") << QByteArray("=/srv/av");
        QTest::newRow("NUL inside") << QByteArray("dir=/srv\0/av", 12) << QByteArray("/srv");
        QTest::newRow("next line") << QByteArray("dir=\n/srv/av x") << QByteArray("/srv/av");
    }

    void installDirectory()
    {
        QFETCH(QByteArray, content);
        QFETCH(QByteArray, directory);
        writeFile("config", content);
        const int descriptors = int(QDir(QStringLiteral("/proc/self/fd")).count());
        QCOMPARE(InstallConfig::installDirectory(qPrintable(path("config"))), directory);
        QCOMPARE(int(QDir(QStringLiteral("/proc/self/fd")).count()), descriptors);
        QCOMPARE(InstallConfig::installDirectory(qPrintable(path("missing"))), QByteArray("/opt/Calvorin"));
    }

    void refusedOrUnstartable()
    {
        installTool("exit 0");
        UpdateLauncher launcher;
        watch(launcher);
        launcher.launch();
        QVERIFY(!launcher.isRunning());
        QFile::remove(path("install/calvorin_antivirus/qelnrwrap"));
        launcher.setAllowed(true);
        launcher.launch();
        QTRY_COMPARE(
            m_events,
            (QStringList{"available=1", "available=0", "available=1", "Warning: Failed to launch Novarel"}));
        QVERIFY(!launcher.isRunning());
    }
};

QTEST_MAIN(TestUpdateLauncher)
#include "TestUpdateLauncher.moc"
