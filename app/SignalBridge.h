#pragma once

#include <QObject>

#include <csignal>

class QSocketNotifier;

// Carries SIGUSR2, SIGINT and SIGTERM from the signal handler into the event loop: the
// handler writes a token into one end of a socket pair, and the event loop reads the other.
class SignalBridge final : public QObject
{
    Q_OBJECT

public:
    explicit SignalBridge(QObject* parent = nullptr);
    ~SignalBridge() override;

    // Holds SIGUSR2 back while the program starts, so that a wake-up sent before the handler
    // is in place is answered rather than ending the process. Returns the mask to restore.
    static sigset_t holdWakeUps();
    // Routes SIGINT, SIGTERM and SIGUSR2 to the bridge and ignores SIGPIPE.
    static void installHandlers();
    static void releaseWakeUps(const sigset_t& previousMask);

signals:
    // SIGUSR2: another copy, or another part of the suite, wants the status refreshed.
    void wakeUpRequested();
    void quitRequested();

private:
    // Never blocks. Without an open bridge SIGINT and SIGTERM end the process at once and
    // SIGUSR2 is dropped.
    static void handle(int signal);
    void readToken();

    int m_fds[2] = {-1, -1};
    QSocketNotifier* m_notifier = nullptr;
};
