#include "SignalLog.h"
#include "tray/InstallConfig.h"
#include "tray/UpdateLauncher.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

#include <csignal>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

class TestUpdateLauncher final : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    SignalLog m_log;

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
        m_log.watch(&launcher, &UpdateLauncher::availabilityChanged, "available");
        m_log.watch(&launcher, &UpdateLauncher::runningChanged, "running");
        m_log.watch(&launcher, &UpdateLauncher::finished, "finished");
        m_log.watch(&launcher, &UpdateLauncher::startFailed, "start failed");
        m_log.watch(&launcher, &UpdateLauncher::runFailed, "run failed");
    }

private slots:
    void initTestCase()
    {
        qputenv("WARDLET_CONFIG_FILE", path("Calvorin.conf").toLocal8Bit());
        writeFile("Calvorin.conf", "InstallDir = " + m_dir.path().toLocal8Bit() + "/install\n");
    }

    void init() { m_log.take(); }

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
        QByteArray refusal;
        const int descriptors = int(QDir(QStringLiteral("/proc/self/fd")).count());
        QCOMPARE(InstallConfig::installDirectory(qPrintable(path("config")), refusal), directory);
        QCOMPARE(int(QDir(QStringLiteral("/proc/self/fd")).count()), descriptors);
        QCOMPARE(InstallConfig::installDirectory(qPrintable(path("missing")), refusal),
                 QByteArray("/opt/Calvorin"));
        QVERIFY(refusal.isEmpty());
    }

    // Only what root alone can have put in place is run, as sudo would have it.
    void runsOnlyRootsTool_data()
    {
        QTest::addColumn<QString>("setUp");
        QTest::addColumn<bool>("runs");
        QTest::newRow("root's alone") << "" << true;
        QTest::newRow("sticky directory writable by all") << "chmod 1777 install" << true;
        QTest::newRow("configuration of another user") << "chown 65534 Calvorin.conf" << false;
        QTest::newRow("configuration writable by the group") << "chmod 664 Calvorin.conf" << false;
        QTest::newRow("configuration through a link") << "link Calvorin.conf" << false;
        QTest::newRow("relative directory") << "relative" << false;
        QTest::newRow("directory of another user") << "chown 65534 install/calvorin_antivirus" << false;
        QTest::newRow("directory writable by all") << "chmod 777 install" << false;
        QTest::newRow("directory through a link") << "link install" << false;
        QTest::newRow("tool of another user") << "chown 65534 install/calvorin_antivirus/qelnrwrap" << false;
        QTest::newRow("tool writable by others") << "chmod 757 install/calvorin_antivirus/qelnrwrap" << false;
        QTest::newRow("tool through a link") << "link install/calvorin_antivirus/qelnrwrap" << false;
    }

    void runsOnlyRootsTool()
    {
        QFETCH(QString, setUp);
        QFETCH(bool, runs);
        QTemporaryDir dir;
        qputenv("WARDLET_CONFIG_FILE", dir.filePath("Calvorin.conf").toLocal8Bit());
        QVERIFY(QDir(dir.path()).mkpath("install/calvorin_antivirus"));
        const QString tool = dir.filePath("install/calvorin_antivirus/qelnrwrap");
        const QString marker = dir.filePath("ran");
        QFile file(tool);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("#!/bin/sh\ntouch '" + marker.toLocal8Bit() + "'\n");
        file.close();
        QVERIFY(file.setPermissions(file.permissions() | QFile::ExeOwner));
        QFile config(dir.filePath("Calvorin.conf"));
        QVERIFY(config.open(QIODevice::WriteOnly));
        config.write("InstallDir = "
                     + (setUp == "relative" ? QByteArray("install") : dir.filePath("install").toLocal8Bit()));
        config.close();

        const QStringList words = setUp.split(' ');
        const QString target = dir.filePath(words.last());
        if (words.first() == "chown")
            QCOMPARE(::chown(QFile::encodeName(target).constData(), words.at(1).toUInt(), 0), 0);
        if (words.first() == "chmod")
            QCOMPARE(::chmod(QFile::encodeName(target).constData(), words.at(1).toUInt(nullptr, 8)), 0);
        if (words.first() == "link") {
            QVERIFY(QFile::rename(target, target + ".real"));
            QVERIFY(QFile::link(target + ".real", target));
        }
        const QString previous = QDir::currentPath();
        QVERIFY(QDir::setCurrent(dir.path()));

        UpdateLauncher launcher;
        watch(launcher);
        launcher.setAllowed(true);
        launcher.launch();
        QVERIFY(QDir::setCurrent(previous));
        const QStringList ran{"available=true", "available=false", "running=true",
                              "running=false",  "available=true",  "finished=true"};
        const QStringList refused{"available=true", "available=false", "available=true", "start failed"};
        QTRY_COMPARE(m_log.lines(), runs ? ran : refused);
        QCOMPARE(QFile::exists(marker), runs);
        qputenv("WARDLET_CONFIG_FILE", path("Calvorin.conf").toLocal8Bit());
    }

    // The tool reads nothing and writes nowhere: a tool that waits for input ends, and its
    // output cannot fill the program's memory. Nothing of the run stays open afterwards.
    void toolHasNullStreams()
    {
        installTool(
            "read line\nstreams=$(readlink /proc/$$/fd/0 /proc/$$/fd/1 /proc/$$/fd/2)\necho \"$streams\" >'"
            + path("streams").toLocal8Bit() + "'\n");
        const int descriptors = int(QDir(QStringLiteral("/proc/self/fd")).count());
        UpdateLauncher launcher;
        watch(launcher);
        launcher.setAllowed(true);
        launcher.launch();
        QTRY_VERIFY(m_log.lines().contains("finished=true"));
        QCOMPARE(int(QDir(QStringLiteral("/proc/self/fd")).count()), descriptors);
        QFile streams(path("streams"));
        QVERIFY(streams.open(QIODevice::ReadOnly));
        QCOMPARE(streams.readAll(), QByteArray("/dev/null\n/dev/null\n/dev/null\n"));
    }

    // An update cut off half-way does more harm than one that goes on after the program ends.
    void toolOutlivesTheProgram()
    {
        installTool("echo $$ >'" + path("pid").toLocal8Bit() + "'\nexec sleep 30\n");
        auto* launcher = new UpdateLauncher;
        launcher->setAllowed(true);
        launcher->launch();
        QFile pidFile(path("pid"));
        QTRY_VERIFY(pidFile.size() > 0);
        QVERIFY(pidFile.open(QIODevice::ReadOnly));
        const pid_t pid = pid_t(pidFile.readAll().trimmed().toInt());
        delete launcher;
        QCOMPARE(::kill(pid, 0), 0);
        ::kill(pid, SIGKILL);
        ::waitpid(pid, nullptr, 0);
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
        QTRY_COMPARE(m_log.lines(),
                     (QStringList{"available=true", "available=false", "available=true", "start failed"}));
        QVERIFY(!launcher.isRunning());
    }
};

QTEST_MAIN(TestUpdateLauncher)
#include "TestUpdateLauncher.moc"
