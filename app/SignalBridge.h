#pragma once

#include <QObject>

class QSocketNotifier;

// Carries SIGUSR2, SIGINT and SIGTERM from the signal handler into the event loop: the
// handler writes a token into one end of a socket pair, and the event loop reads the other.
class SignalBridge final : public QObject
{
    Q_OBJECT

public:
    explicit SignalBridge(QObject* parent = nullptr);
    ~SignalBridge() override;

    // For sigaction(): never blocks. Without an open bridge SIGINT and SIGTERM end the
    // process at once and SIGUSR2 is dropped.
    static void handle(int signal);

signals:
    // SIGUSR2: another copy, or another part of the suite, wants the status refreshed.
    void wakeUpRequested();
    void quitRequested();

private:
    void readToken();

    int m_fds[2] = {-1, -1};
    QSocketNotifier* m_notifier = nullptr;
};
