#pragma once

#include <QObject>

#include <string>

#include <sys/types.h>

class QSocketNotifier;

// One copy per user. The running copy holds an abstract socket named after the user; a copy
// that cannot take the name asks the holder for its process id, and only when that process
// runs this same program for this same user does it leave a wake-up file and send SIGUSR2.
class SingleInstance final : public QObject
{
    Q_OBJECT

public:
    explicit SingleInstance(QObject* parent = nullptr);
    ~SingleInstance() override;

    // True when this is the one copy. Otherwise the running copy has been asked to show
    // itself, if it could be found.
    bool claim();
    // Once the event loop runs: lets later copies in and out again.
    void serve();

    // "<home>/.wardletNotify<pid>": its existence asks copy pid to show its status window.
    static std::string wakeUpFile(pid_t pid);
    // True when a second copy left a wake-up file for this process; the file is gone afterwards.
    static bool takeWakeUpFile();

private:
    int m_fd = -1;
    QSocketNotifier* m_notifier = nullptr;
};

// The user's home directory from the password database (never the environment); empty when
// the user is unknown.
std::string homeDirectory(uid_t uid);
