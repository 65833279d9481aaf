#include "SignalLog.h"
#include "tray/InstallConfig.h"
#include "tray/ToolProcess.h"
#include "tray/UpdateLauncher.h"

#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

#include <csignal>
#include <fcntl.h>
#include <optional>
#include <sys/wait.h>

class TestUpdateLauncher final : public QObject
{
    Q_OBJECT

    static constexpr const char* Tool = "install/calvorin_antivirus/qelnrwrap";
    std::optional<QTemporaryDir> m_dir;

    QString path(const QString& name) const { return m_dir->filePath(name); }

    // Executable, for the tool's sake: no check minds that bit.
    void writeFile(const QString& name, const QByteArray& content)
    {
        QFile file(path(name));
        QVERIFY(file.open(QIODevice::WriteOnly));
        QCOMPARE(file.write(content), qint64(content.size()));
        QVERIFY(file.setPermissions(file.permissions() | QFile::ExeOwner));
    }

    void installTool(const QByteArray& script) { writeFile(Tool, "#!/bin/sh\n" + script); }

private slots:
    // Each test gets an install of its own: root's configuration naming root's directory.
    void init()
    {
        m_dir.emplace();
        qputenv("WARDLET_CONFIG_FILE", path("Calvorin.conf").toLocal8Bit());
        writeFile("Calvorin.conf", "InstallDir = " + path("install").toLocal8Bit() + "\n");
        QVERIFY(QDir(m_dir->path()).mkpath("install/calvorin_antivirus"));
    }

    void installDirectory_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QByteArray>("directory");
        QTest::newRow("key and word") << QByteArray("dir=/srv/av\n") << QByteArray("/srv/av");
        QTest::newRow("first = counts") << QByteArray("# a=/x y\nb=/z") << QByteArray("/x");
        QTest::newRow("blanks around") << QByteArray("k = \t/opt/x y") << QByteArray("/opt/x");
        QTest::newRow("no =") << QByteArray("/srv/av\n") << QByteArray("/opt/Calvorin");
        QTest::newRow("==") << QByteArray("dir==/srv/av") << QByteArray("=/srv/av");
        QTest::newRow("NUL inside") << QByteArray("dir=/srv\0/av", 12) << QByteArray("/srv");
        QTest::newRow("next line") << QByteArray("dir=\n/srv/av x") << QByteArray("/srv/av");
        QTest::newRow("no file") << QByteArray() << QByteArray("/opt/Calvorin");
    }

    void installDirectory()
    {
        QFETCH(QByteArray, content);
        QFETCH(QByteArray, directory);
        if (!content.isNull())
            writeFile("config", content);
        QByteArray refusal;
        QCOMPARE(InstallConfig::installDirectory(qPrintable(path("config")), refusal), directory);
    }

    // Only what root alone can have put in place is run, as sudo would have it; one run at a
    // time, reading nothing and writing nowhere (a tool waiting for input would never end), and
    // nothing of a run or a refusal stays open.
    void launch_data()
    {
        QTest::addColumn<QString>("setUp");
        QTest::addColumn<QStringList>("log");
        const QStringList ran{"available=true", "available=false", "running=true",
                              "running=false",  "available=true",  "finished=true"};
        // Refused, the button comes back, and the next press is refused again.
        const QStringList refused{"available=true",  "available=false", "available=true", "start failed",
                                  "available=false", "available=true",  "start failed"};
        const QStringList failed{"available=true", "available=false", "running=true",  "running=false",
                                 "run failed",     "available=true",  "finished=false"};
        const QString tool = Tool;
        QTest::newRow("root's alone") << "" << ran;
        QTest::newRow("failing tool") << "echo exit 3 >>" + tool << failed;
        QTest::newRow("sticky directory writable by all") << "chmod 1777 install" << ran;
        QTest::newRow("configuration of another user") << "chown 65534 Calvorin.conf" << refused;
        QTest::newRow("configuration writable by the group") << "chmod 664 Calvorin.conf" << refused;
        QTest::newRow("configuration through a link")
            << "mv Calvorin.conf c && ln -s c Calvorin.conf" << refused;
        QTest::newRow("relative directory") << "echo InstallDir = ${PWD#/}/install >Calvorin.conf" << refused;
        QTest::newRow("directory of another user") << "chown 65534 install/calvorin_antivirus" << refused;
        QTest::newRow("directory writable by all") << "chmod 777 install" << refused;
        QTest::newRow("directory through a link") << "mv install i && ln -s i install" << refused;
        QTest::newRow("tool of another user") << "chown 65534 " + tool << refused;
        QTest::newRow("tool writable by others") << "chmod 757 " + tool << refused;
        QTest::newRow("tool through a link") << "mv " + tool + " t && ln -s $PWD/t " + tool << refused;
        QTest::newRow("no tool") << "rm " + tool << refused;
    }

    void launch()
    {
        QFETCH(QString, setUp);
        QFETCH(QStringList, log);
        // The null device as its three streams and nowhere else, nothing of the program's parent.
        installTool("echo $(readlink /proc/$$/fd/0 /proc/$$/fd/1 /proc/$$/fd/2)"
                    " $(ls -l /proc/$$/fd | grep -c -e null -e zero) >'"
                    + path("ran").toLocal8Bit() + "'\n");
        QVERIFY(QDir::setCurrent(m_dir->path()));
        QCOMPARE(QProcess::execute(QStringLiteral("/bin/sh"), {QStringLiteral("-c"), setUp}), 0);
        // Launched from "/", where the relative directory names the tool too.
        QVERIFY(QDir::setCurrent(QStringLiteral("/")));
        const int inherited = ::open("/dev/zero", O_RDONLY); // as from the program's own parent
        const auto descriptors = QDir(QStringLiteral("/proc/self/fd")).count();
        SignalLog signalLog;
        UpdateLauncher launcher;
        signalLog.watch(&launcher, &UpdateLauncher::availabilityChanged, "available");
        signalLog.watch(&launcher, &UpdateLauncher::runningChanged, "running");
        signalLog.watch(&launcher, &UpdateLauncher::finished, "finished");
        signalLog.watch(&launcher, &UpdateLauncher::startFailed, "start failed");
        signalLog.watch(&launcher, &UpdateLauncher::runFailed, "run failed");
        launcher.launch(); // not allowed yet
        launcher.setAllowed(true);
        launcher.launch();
        launcher.launch(); // a second press
        QTRY_COMPARE(signalLog.lines(), log);
        QCOMPARE(QDir(QStringLiteral("/proc/self/fd")).count(), descriptors);
        ::close(inherited);
        QFile streams(path("ran"));
        QCOMPARE(streams.open(QIODevice::ReadOnly) ? streams.readAll() : QByteArray("not run"),
                 QByteArray(log.contains("running=true") ? "/dev/null /dev/null /dev/null 3\n" : "not run"));
    }

    // An update cut off half-way does more harm than one that goes on after the program ends.
    void toolOutlivesTheProgram()
    {
        installTool("exec sleep 30\n");
        auto* launcher = new UpdateLauncher;
        launcher->setAllowed(true);
        launcher->launch();
        const ToolProcess* process = launcher->findChild<ToolProcess*>();
        QVERIFY(process && process->isRunning());
        const pid_t pid = process->pid();
        delete launcher;
        QTest::qWait(100); // time for a kill to land
        QCOMPARE(::waitpid(pid, nullptr, WNOHANG), 0);
        ::kill(pid, SIGKILL);
        ::waitpid(pid, nullptr, 0);
    }

    // A tool that cannot be executed is no run: the button comes back, and the log says so.
    void toolThatCannotRun()
    {
        installTool("exit 0\n");
        QVERIFY(QFile::setPermissions(path(Tool), QFile::ReadOwner));
        UpdateLauncher launcher;
        QSignalSpy failed(&launcher, &UpdateLauncher::startFailed);
        launcher.setAllowed(true);
        QTest::ignoreMessage(QtWarningMsg, "could not start the update tool");
        launcher.launch();
        QCOMPARE(failed.size(), 1);
        QVERIFY(launcher.canLaunch());
    }
};

QTEST_MAIN(TestUpdateLauncher)
#include "TestUpdateLauncher.moc"
