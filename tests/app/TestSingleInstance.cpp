#include "app/SingleInstance.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include <csignal>
#include <fcntl.h>
#include <pwd.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

// A process that reports every SIGUSR2 it receives by writing one byte to a pipe.
class SignalCounter
{
public:
    SignalCounter()
    {
        if (::pipe(_pipe) != 0)
            qFatal("pipe");
        _pid = ::fork();
        if (_pid == 0) {
            sigset_t set;
            sigemptyset(&set);
            sigaddset(&set, SIGUSR2);
            sigprocmask(SIG_BLOCK, &set, nullptr);
            const char ready = 'r';
            ::write(_pipe[1], &ready, 1);
            const timespec limit{20, 0};
            while (sigtimedwait(&set, nullptr, &limit) == SIGUSR2) {
                const char got = 's';
                ::write(_pipe[1], &got, 1);
            }
            _exit(0);
        }
        char ready;
        ::read(_pipe[0], &ready, 1);
        ::fcntl(_pipe[0], F_SETFL, O_NONBLOCK);
    }
    ~SignalCounter()
    {
        ::kill(_pid, SIGKILL);
        ::waitpid(_pid, nullptr, 0);
        ::close(_pipe[0]);
        ::close(_pipe[1]);
    }
    pid_t pid() const { return _pid; }
    int received()
    {
        char buffer[16];
        ssize_t n;
        while ((n = ::read(_pipe[0], buffer, sizeof buffer)) > 0)
            _count += int(n);
        return _count;
    }

private:
    int _pipe[2];
    pid_t _pid;
    int _count = 0;
};

QString rootHome()
{
    return QString::fromLocal8Bit(::getpwuid(::getuid())->pw_dir);
}

} // namespace

class TestSingleInstance : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        savedPath = qgetenv("PATH");
        QVERIFY(bin.isValid());
    }
    void cleanup() { qputenv("PATH", savedPath); }

    void homeComesFromThePasswordDatabase()
    {
        qputenv("HOME", "/nowhere");
        std::string home;
        QCOMPARE(homeDirectory(::getuid(), home), 0);
        QCOMPARE(QString::fromStdString(home), rootHome());
    }

    void unknownUserLeavesTheHomeAlone()
    {
        std::string home = "unchanged";
        homeDirectory(uid_t(3999999999u), home);
        QCOMPARE(QString::fromStdString(home), QStringLiteral("unchanged"));
    }

    void wakeUpFileNamesTheRunningCopy()
    {
        QCOMPARE(QString::fromStdString(wakeUpFile("/home/ann", 812)),
                 QStringLiteral("/home/ann/.wardletNotify812"));
        QCOMPARE(wakeUpFile("/" + std::string(5000, 'h'), 1).size(), size_t(4095));
    }

    void noPathNoInstance() { QVERIFY(!findRunningInstance(nullptr)); }

    void missingPsFindsNothing()
    {
        qputenv("PATH", bin.path().toLocal8Bit());
        QVERIFY(!findRunningInstance("/usr/bin/wardlet"));
    }

    void ownLineIsSkipped()
    {
        fakePs(QStringLiteral("  PID TTY          TIME CMD\n%1 pts/0    00:00:01 wardlet\n").arg(::getpid()));
        QVERIFY(!findRunningInstance("/usr/bin/wardlet"));
    }

    void otherCopyIsWokenOnceWhileAWakeUpIsPending()
    {
        SignalCounter other;
        const QString file = rootHome() + QStringLiteral("/.wardletNotify%1").arg(other.pid());
        QFile::remove(file);
        // The name may stand anywhere in the line.
        fakePs(QStringLiteral("%1 pts/0 00:00:01 notes-for-wardlet-users\n").arg(other.pid()));

        QVERIFY(findRunningInstance("./wardlet"));
        QTRY_COMPARE(other.received(), 1);
        QVERIFY(QFile::exists(file));
        QCOMPARE(QFileInfo(file).size(), 0);
        QCOMPARE(QFile::permissions(file) & 0x7777,
                 QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner | QFile::ReadUser | QFile::WriteUser
                     | QFile::ExeUser);

        QVERIFY(findRunningInstance("./wardlet"));
        QTest::qWait(200);
        QCOMPARE(other.received(), 1);
        QFile::remove(file);
    }

    void shellCharactersInTheNameRunNothing()
    {
        QTemporaryDir work;
        const QString previous = QDir::currentPath();
        QDir::setCurrent(work.path());
        fakePs(QString());
        QVERIFY(!findRunningInstance("x;touch PWNED;'$(touch PWNED2)'`touch PWNED3`"));
        QDir::setCurrent(previous);
        QCOMPARE(QDir(work.path()).entryList(QDir::Files), QStringList());
    }

    void nameWithAQuoteStillMatches()
    {
        SignalCounter other;
        fakePs(QStringLiteral("%1 pts/1 00:00:00 it's-mine\n").arg(other.pid()));
        QVERIFY(findRunningInstance("/opt/it's-mine"));
        QTRY_COMPARE(other.received(), 1);
        QFile::remove(rootHome() + QStringLiteral("/.wardletNotify%1").arg(other.pid()));
    }

private:
    // Puts a `ps` first on PATH that prints the given lines.
    void fakePs(const QString& output)
    {
        QFile ps(bin.filePath(QStringLiteral("ps")));
        QVERIFY(ps.open(QIODevice::WriteOnly | QIODevice::Truncate));
        ps.write("#!/bin/sh\ncat <<'EOF'\n" + output.toLocal8Bit() + "EOF\n");
        ps.close();
        ps.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        qputenv("PATH", bin.path().toLocal8Bit() + ":" + savedPath);
    }

    QTemporaryDir bin;
    QByteArray savedPath;
};

QTEST_GUILESS_MAIN(TestSingleInstance)
#include "TestSingleInstance.moc"
