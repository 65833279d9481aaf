#pragma once

#include <QByteArray>
#include <QObject>

#include <sys/types.h>

class QSocketNotifier;

// One run of a program from an open descriptor, so that what was checked is what runs. It
// reads nothing and writes nowhere (the null device), and it is left running when this object
// goes: an update cut off half-way would do more harm than one that ends on its own.
class ToolProcess final : public QObject
{
    Q_OBJECT

public:
    explicit ToolProcess(QObject* parent = nullptr);
    ~ToolProcess() override;

    // Runs the program open at fd under the name name; the descriptor is closed either way.
    // False when it could not be started.
    bool start(int fd, const QByteArray& name);
    bool isRunning() const { return m_pid > 0; }
    pid_t pid() const { return m_pid; }

signals:
    // Exited with status 0, or not (another status, or a signal).
    void finished(bool success);

private:
    void reap();

    pid_t m_pid = -1;
    int m_pidFd = -1;
    QSocketNotifier* m_notifier = nullptr;
};
