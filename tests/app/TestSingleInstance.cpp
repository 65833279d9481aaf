#include "app/SingleInstance.h"

#include <QFile>
#include <QProcess>
#include <QtTest>

#include <csignal>
#include <unistd.h>

namespace {

// Whether a SIGUSR2 is waiting for this process, taking it.
bool takeWakeUpSignal()
{
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGUSR2);
    const timespec none{0, 0};
    return sigtimedwait(&set, nullptr, &none) == SIGUSR2;
}

// Blocked before any thread starts, so the wake-up can be taken here instead of ending the test.
const bool wakeUpBlocked = [] {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGUSR2);
    return sigprocmask(SIG_BLOCK, &set, nullptr) == 0;
}();

} // namespace

class TestSingleInstance final : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QVERIFY(wakeUpBlocked); }

    void secondCopyWakesTheFirstOnce()
    {
        SingleInstance first;
        QVERIFY(first.claim());
        const QString file = QString::fromStdString(SingleInstance::wakeUpFile(::getpid()));
        QFile::remove(file);

        SingleInstance second;
        QVERIFY(!second.claim());
        QVERIFY(takeWakeUpSignal());
        QCOMPARE(QFile::permissions(file) & 0x0777, QFile::ReadUser | QFile::WriteUser | QFile::ExeUser);
        // While a wake-up is pending, another start signals nothing.
        SingleInstance third;
        QVERIFY(!third.claim());
        QVERIFY(!takeWakeUpSignal());

        QVERIFY(SingleInstance::takeWakeUpFile());
        QVERIFY(!QFile::exists(file));
        QVERIFY(!SingleInstance::takeWakeUpFile());
    }

    void anotherProgramHoldingTheNameIsLeftAlone()
    {
        // A stranger, of the same user, that took the name this program uses.
        const QByteArray name
            = "\\0wardlet-" + QByteArray::number(::getuid()) + qgetenv("WARDLET_SOCKET_SUFFIX");
        QProcess stranger;
        stranger.start("/usr/bin/python3",
                       {"-c",
                        "import socket, time\ns = socket.socket(socket.AF_UNIX)\ns.bind(b'" + name
                            + "')\ns.listen()\nprint('ready', flush=True)\ntime.sleep(30)"});
        QVERIFY(stranger.waitForReadyRead(5000));
        SingleInstance instance;
        QVERIFY(instance.claim());
        QVERIFY(!takeWakeUpSignal());
        QCOMPARE(stranger.state(), QProcess::Running);
        QVERIFY(!QFile::exists(QString::fromStdString(SingleInstance::wakeUpFile(stranger.processId()))));
        stranger.kill();
        stranger.waitForFinished();
    }

    void homeComesFromThePasswordDatabase()
    {
        qputenv("HOME", "/nowhere");
        QVERIFY(!homeDirectory(::getuid()).empty());
        QVERIFY(homeDirectory(::getuid()) != "/nowhere");
        QVERIFY(homeDirectory(uid_t(3999999999u)).empty());
    }
};

QTEST_GUILESS_MAIN(TestSingleInstance)
#include "TestSingleInstance.moc"
