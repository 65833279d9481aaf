#include "app/SingleInstance.h"

#include <QFile>
#include <QProcess>
#include <QScopeGuard>
#include <QTemporaryDir>
#include <QtTest>

#include <csignal>
#include <fstream>
#include <poll.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utime.h>

namespace {

const sigset_t wakeUps = [] {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGUSR2);
    return set;
}();
// Blocked before any thread starts, so the wake-ups can be counted instead of ending the test.
const bool wakeUpBlocked = sigprocmask(SIG_BLOCK, &wakeUps, nullptr) == 0;

// The running copy, in a process of its own since locks belong to processes: it claims, says
// whether it got the lock, then sends a byte for each wake-up signal until it is ended.
class FirstCopy final
{
public:
    FirstCopy()
    {
        int fds[2];
        if (::pipe(fds) != 0)
            return;
        m_pid = ::fork();
        if (m_pid == 0) {
            ::close(fds[0]);
            SingleInstance instance;
            static_cast<void>(::write(fds[1], instance.claim() ? "y" : "n", 1));
            for (;;) {
                if (sigwaitinfo(&wakeUps, nullptr) == SIGUSR2 && ::write(fds[1], "w", 1) != 1)
                    ::_exit(0);
            }
        }
        ::close(fds[1]);
        m_events = fds[0];
    }
    ~FirstCopy()
    {
        ::kill(m_pid, SIGKILL);
        ::waitpid(m_pid, nullptr, 0);
        ::close(m_events);
        QFile::remove(QString::fromStdString(SingleInstance::wakeUpFile(m_pid)));
    }

    pid_t pid() const { return m_pid; }
    // What it said within the time given: "y" for the lock, then a "w" per wake-up.
    QByteArray events(int milliseconds)
    {
        QByteArray said;
        pollfd wait = {m_events, POLLIN, 0};
        char byte;
        while (::poll(&wait, 1, said.isEmpty() ? milliseconds : 50) == 1 && ::read(m_events, &byte, 1) == 1)
            said += byte;
        return said;
    }

private:
    pid_t m_pid = -1;
    int m_events = -1;
};

} // namespace

class TestSingleInstance final : public QObject
{
    Q_OBJECT

private slots:
    // The home is the password database's, never $HOME: at /nowhere no test here would find its
    // files. Tokens and the runtime directory are set only by the tests about them.
    void initTestCase()
    {
        QVERIFY(wakeUpBlocked);
        qputenv("HOME", "/nowhere");
        QVERIFY(homeDirectory(uid_t(3999999999u)).empty());
        qunsetenv("XDG_ACTIVATION_TOKEN");
        qunsetenv("DESKTOP_STARTUP_ID");
        qunsetenv("XDG_RUNTIME_DIR");
    }

    // A second start leaves a private wake-up file, with its token if that is fit to pass on, and
    // signals; more starts while it waits add nothing, unless it is old enough to have been left
    // behind. The running copy takes the file once, and only a fit token from it.
    void secondCopyWakesTheFirst_data()
    {
        QTest::addColumn<QByteArray>("variable");
        QTest::addColumn<QByteArray>("token");
        QTest::addColumn<QByteArray>("taken");
        const QByteArray wayland("XDG_ACTIVATION_TOKEN"), x11("DESKTOP_STARTUP_ID");
        QTest::newRow("Wayland") << wayland << QByteArray("a b_TIME9") << QByteArray("a b_TIME9");
        QTest::newRow("X11") << x11 << QByteArray("host-7_TIME42") << QByteArray("host-7_TIME42");
        QTest::newRow("longest") << wayland << QByteArray(255, '~') << QByteArray(255, '~');
        QTest::newRow("too long") << wayland << QByteArray(256, 'x') << QByteArray();
        QTest::newRow("not ASCII") << x11 << QByteArray("caf\xc3\xa9") << QByteArray();
    }

    void secondCopyWakesTheFirst()
    {
        QFETCH(QByteArray, variable);
        QFETCH(QByteArray, token);
        QFETCH(QByteArray, taken);
        const auto restore = qScopeGuard([variable] { qunsetenv(variable.constData()); });
        qputenv(variable.constData(), token);
        FirstCopy first;
        QCOMPARE(first.events(5000), QByteArray("y"));
        QVERIFY(!SingleInstance().claim());
        QCOMPARE(first.events(5000), QByteArray("w"));
        QFile left(QString::fromStdString(SingleInstance::wakeUpFile(first.pid())));
        QCOMPARE(left.permissions() & 0x0777, QFile::ReadUser | QFile::WriteUser | QFile::ExeUser);
        QVERIFY(left.open(QIODevice::ReadOnly));
        QCOMPARE(left.readAll(), taken);

        QVERIFY(!SingleInstance().claim());
        QCOMPARE(first.events(300), QByteArray());
        const utimbuf old{std::time(nullptr) - 60, std::time(nullptr) - 60};
        QCOMPARE(::utime(QFile::encodeName(left.fileName()).constData(), &old), 0);
        QVERIFY(!SingleInstance().claim());
        QCOMPARE(first.events(5000), QByteArray("w"));

        std::ofstream(SingleInstance::wakeUpFile(::getpid())) << token.toStdString();
        QCOMPARE(QByteArray::fromStdString(SingleInstance::takeWakeUpFile().value_or("none")), taken);
        QVERIFY(!SingleInstance::takeWakeUpFile());
    }

    // Another program of the user's that holds the lock is no copy of this one: nothing is
    // signalled and the program runs.
    void anotherProgramHoldingTheLockIsLeftAlone()
    {
        const char* script = "import fcntl, sys, time\nf = open(sys.argv[1], 'w')\n"
                             "fcntl.lockf(f, fcntl.LOCK_EX)\nprint(flush=True)\ntime.sleep(30)";
        QProcess stranger;
        stranger.start("/usr/bin/python3",
                       {"-c", script, QString::fromStdString(SingleInstance::lockFile())});
        QVERIFY(stranger.waitForReadyRead(5000));
        QVERIFY(SingleInstance().claim());
        QVERIFY(!QFile::exists(QString::fromStdString(SingleInstance::wakeUpFile(stranger.processId()))));
        stranger.kill();
        stranger.waitForFinished();
    }

    // A lock that cannot be opened (a directory in its place) is no reason not to run.
    void unopenableLockIsNoCopy()
    {
        QTemporaryDir runtime; // private, as made
        const auto restore = qScopeGuard([] { qunsetenv("XDG_RUNTIME_DIR"); });
        qputenv("XDG_RUNTIME_DIR", runtime.path().toLocal8Bit());
        QCOMPARE(::mkdir(SingleInstance::lockFile().c_str(), 0700), 0);
        QTest::ignoreMessage(QtInfoMsg,
                             "no lock file can be had; running without the check for another copy");
        QVERIFY(SingleInstance().claim());
    }

    // The lock lives where only the user can reach it: the runtime directory when it is
    // private, else a private directory in the home.
    void lockIsPrivate_data()
    {
        QTest::addColumn<int>("mode");
        QTest::addColumn<bool>("inRuntimeDirectory");
        QTest::newRow("private runtime directory") << 0700 << true;
        QTest::newRow("shared runtime directory") << 0755 << false;
        QTest::newRow("no runtime directory") << 0 << false;
    }

    void lockIsPrivate()
    {
        QFETCH(int, mode);
        QFETCH(bool, inRuntimeDirectory);
        QTemporaryDir runtime;
        QCOMPARE(::chmod(QFile::encodeName(runtime.path()).constData(), mode_t(mode)), 0);
        const auto restore = qScopeGuard([] { qunsetenv("XDG_RUNTIME_DIR"); });
        if (mode)
            qputenv("XDG_RUNTIME_DIR", runtime.path().toLocal8Bit());
        const QString lockFile = QString::fromStdString(SingleInstance::lockFile());
        const QString home = QString::fromStdString(homeDirectory(::getuid()));
        QCOMPARE(QFileInfo(lockFile).path(), inRuntimeDirectory ? runtime.path() : home + "/.wardlet");
        QCOMPARE(QFile::permissions(QFileInfo(lockFile).path()) & 0x0077, QFile::Permissions());
    }
};

QTEST_GUILESS_MAIN(TestSingleInstance)
#include "TestSingleInstance.moc"
