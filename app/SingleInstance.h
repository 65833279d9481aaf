#pragma once

#include <optional>
#include <string>

#include <sys/types.h>

// One copy per user. The running copy holds a write lock on a file in a directory only the
// user can reach ($XDG_RUNTIME_DIR, or ~/.wardlet); the kernel names the lock's holder to a
// later copy, which leaves a wake-up file and sends SIGUSR2 only when that holder runs this
// same program for this same user.
class SingleInstance final
{
public:
    SingleInstance() = default;
    ~SingleInstance();
    SingleInstance(const SingleInstance&) = delete;
    SingleInstance& operator=(const SingleInstance&) = delete;

    // True when this is the one copy, or when no lock can be had at all (then there is no
    // telling, and running beats not running). Otherwise the running copy has been asked to
    // show itself, if it is this program.
    bool claim();

    // "<home>/.wardletNotify<pid>": its existence asks copy pid to show its status window; it
    // holds the activation token the second copy was started with, if any.
    static std::string wakeUpFile(pid_t pid);
    // The token from the wake-up file a second copy left for this process (empty when it came
    // without a usable one), or nothing when there is no such file; the file is gone afterwards.
    static std::optional<std::string> takeWakeUpFile();
    // The lock file: in $XDG_RUNTIME_DIR when that is the user's own private directory,
    // otherwise in ~/.wardlet, made private if need be. Empty when neither can be had.
    static std::string lockFile();

private:
    int m_fd = -1;
};

// The user's home directory from the password database (never the environment); empty when
// the user is unknown.
std::string homeDirectory(uid_t uid);
