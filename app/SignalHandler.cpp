#include "SignalHandler.h"

#include "tray/WardletApp.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <sys/socket.h>
#include <unistd.h>

namespace {

std::atomic<WardletApp*> target{nullptr};

} // namespace

void setSignalTarget(WardletApp* app)
{
    target.store(app);
}

void signalHandler(int signal)
{
    const bool quit = signal == SIGINT || signal == SIGTERM;
    if (!quit && signal != SIGUSR2)
        return;
    WardletApp* app = target.load();
    if (!app) {
        if (quit)
            _exit(0);
        return;
    }
    const int fd = app->notifyDescriptor();
    if (fd == -1) {
        // No bridge to reach the event loop through: ending at once is all that is safe here.
        if (quit)
            _exit(0);
        return;
    }
    const int savedErrno = errno;
    const int token = quit ? WardletApp::QuitToken : WardletApp::WakeUpToken;
    // A full bridge already holds a pending token, which is enough.
    ::send(fd, &token, sizeof token, MSG_DONTWAIT | MSG_NOSIGNAL);
    errno = savedErrno;
}
