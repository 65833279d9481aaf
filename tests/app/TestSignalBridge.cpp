#include "app/SignalBridge.h"

#include <QSignalSpy>
#include <QtTest>

#include <sys/wait.h>
#include <unistd.h>

class TestSignalBridge final : public QObject
{
    Q_OBJECT

private slots:
    // A wake-up that comes while the program starts is answered once it runs; until then it
    // must not end the process, as SIGUSR2 otherwise would.
    void signalsReachTheEventLoop()
    {
        const sigset_t previousMask = SignalBridge::holdWakeUps();
        ::raise(SIGUSR2);
        SignalBridge bridge;
        QSignalSpy wakeUps(&bridge, &SignalBridge::wakeUpRequested);
        QSignalSpy quits(&bridge, &SignalBridge::quitRequested);
        SignalBridge::installHandlers();
        SignalBridge::releaseWakeUps(previousMask);
        QVERIFY(wakeUps.wait());

        // A peer gone while we write to it costs an error, not the process.
        ::raise(SIGPIPE);
        // SIGTERM is left to the end-to-end test, where the real program must exit on it.
        ::raise(SIGINT);
        QVERIFY(quits.wait());
        QCOMPARE(wakeUps.count(), 1);
    }

    // Before the bridge is open a quit ends the process at once, as SIGTERM would.
    void quitWithoutABridgeEndsTheProcess()
    {
        const pid_t child = ::fork();
        if (child == 0) {
            SignalBridge::installHandlers();
            ::_exit(::raise(SIGTERM) + 3);
        }
        int status = 0;
        QCOMPARE(::waitpid(child, &status, 0), child);
        QVERIFY(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    }
};

QTEST_GUILESS_MAIN(TestSignalBridge)
#include "TestSignalBridge.moc"
