#include "app/SignalBridge.h"

#include <QSignalSpy>
#include <QtTest>

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
};

QTEST_GUILESS_MAIN(TestSignalBridge)
#include "TestSignalBridge.moc"
