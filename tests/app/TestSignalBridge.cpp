#include "app/SignalBridge.h"

#include <QSignalSpy>
#include <QtTest>

#include <csignal>

class TestSignalBridge final : public QObject
{
    Q_OBJECT

private slots:
    void signalsReachTheEventLoop()
    {
        struct sigaction action = {};
        action.sa_handler = SignalBridge::handle;
        for (const int signal : {SIGUSR2, SIGTERM, SIGINT})
            sigaction(signal, &action, nullptr);

        SignalBridge bridge;
        QSignalSpy wakeUps(&bridge, &SignalBridge::wakeUpRequested);
        QSignalSpy quits(&bridge, &SignalBridge::quitRequested);
        ::raise(SIGUSR2);
        ::raise(SIGUSR2);
        QTRY_COMPARE(wakeUps.count(), 2);
        ::raise(SIGTERM);
        ::raise(SIGINT);
        QTRY_COMPARE(quits.count(), 2);
    }
};

QTEST_GUILESS_MAIN(TestSignalBridge)
#include "TestSignalBridge.moc"
