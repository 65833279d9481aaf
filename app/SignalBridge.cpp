#include "SignalBridge.h"

#include <QSocketNotifier>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <sys/socket.h>
#include <unistd.h>

namespace {

enum Token : int
{
    WakeUpToken = 0,
    QuitToken = 1,
};

// The end the handler writes to, -1 while no bridge is open.
std::atomic<int> handlerEnd{-1};

} // namespace

SignalBridge::SignalBridge(QObject* parent)
    : QObject(parent)
{
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, m_fds) != 0)
        return;
    m_notifier = new QSocketNotifier(m_fds[1], QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &SignalBridge::readToken);
    handlerEnd.store(m_fds[0]);
}

SignalBridge::~SignalBridge()
{
    handlerEnd.store(-1);
    for (const int fd : m_fds) {
        if (fd != -1)
            ::close(fd);
    }
}

sigset_t SignalBridge::holdWakeUps()
{
    sigset_t wakeUp;
    sigset_t previousMask;
    sigemptyset(&wakeUp);
    sigaddset(&wakeUp, SIGUSR2);
    sigprocmask(SIG_BLOCK, &wakeUp, &previousMask);
    return previousMask;
}

void SignalBridge::installHandlers()
{
    struct sigaction action = {}; // zero-initialised: no flags, an empty mask
    action.sa_handler = SignalBridge::handle;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGUSR2, &action, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
}

void SignalBridge::releaseWakeUps(const sigset_t& previousMask)
{
    sigprocmask(SIG_SETMASK, &previousMask, nullptr);
}

void SignalBridge::handle(int signal)
{
    const bool quit = signal == SIGINT || signal == SIGTERM;
    if (!quit && signal != SIGUSR2)
        return;
    const int fd = handlerEnd.load();
    if (fd == -1) {
        if (quit)
            _exit(0);
        return;
    }
    const int savedErrno = errno;
    const int token = quit ? QuitToken : WakeUpToken;
    // A full bridge already holds a pending wake-up, which is enough; a quit must not be lost.
    if (::send(fd, &token, sizeof token, MSG_DONTWAIT | MSG_NOSIGNAL) != sizeof token && quit)
        _exit(0);
    errno = savedErrno;
}

void SignalBridge::readToken()
{
    int token = WakeUpToken;
    if (::read(m_fds[1], &token, sizeof token) != sizeof token)
        return;
    if (token == QuitToken)
        emit quitRequested();
    else
        emit wakeUpRequested();
}
