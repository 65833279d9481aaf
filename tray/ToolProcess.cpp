#include "ToolProcess.h"

#include <QSocketNotifier>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace {

// Between fork and exec only async-signal-safe calls: no descriptor the program inherited reaches
// the tool, the tool's own stays open across exec (a script's interpreter reads it as /dev/fd/N),
// the null device becomes its standard streams, and a failed exec sends its errno up the pipe,
// which exec otherwise closes.
[[noreturn]] void runChild(int fd, int null, int report, char* const argv[])
{
    ::close_range(3, ~0U, CLOSE_RANGE_CLOEXEC);
    ::fcntl(fd, F_SETFD, 0);
    for (int stream = 0; stream < 3; ++stream)
        ::dup2(null, stream);
    ::fexecve(fd, argv, environ);
    const int error = errno;
    ::write(report, &error, sizeof error);
    ::_exit(127);
}

} // namespace

ToolProcess::ToolProcess(QObject* parent)
    : QObject(parent)
{ }

ToolProcess::~ToolProcess()
{
    if (m_pidFd != -1)
        ::close(m_pidFd);
}

bool ToolProcess::start(int fd, const QByteArray& name)
{
    const int null = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    int report[2] = {-1, -1};
    pid_t pid = -1;
    if (null != -1 && ::pipe2(report, O_CLOEXEC) == 0) {
        char* const argv[] = {const_cast<char*>(name.constData()), nullptr};
        pid = ::fork();
        if (pid == 0)
            runChild(fd, null, report[1], argv);
        ::close(report[1]);
    }
    ::close(fd);
    if (null != -1)
        ::close(null);
    if (pid == -1) {
        if (report[0] != -1)
            ::close(report[0]);
        return false;
    }

    // End of file: exec closed the pipe and the tool runs.
    int error = 0;
    ssize_t got;
    while ((got = ::read(report[0], &error, sizeof error)) == -1 && errno == EINTR) { }
    ::close(report[0]);
    // Its end is learnt from a descriptor of the process; without one it could not be, so a
    // tool that has only just begun is stopped rather than left unwatched.
    m_pidFd = got == 0 ? int(::syscall(SYS_pidfd_open, pid, 0)) : -1;
    if (m_pidFd == -1) {
        if (got == 0)
            ::kill(pid, SIGKILL);
        while (::waitpid(pid, nullptr, 0) == -1 && errno == EINTR) { }
        return false;
    }
    m_pid = pid;
    m_notifier = new QSocketNotifier(m_pidFd, QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &ToolProcess::reap);
    return true;
}

void ToolProcess::reap()
{
    int status = 0;
    pid_t done;
    while ((done = ::waitpid(m_pid, &status, 0)) == -1 && errno == EINTR) { }
    if (m_notifier) {
        m_notifier->setEnabled(false);
        m_notifier->deleteLater();
        m_notifier = nullptr;
    }
    if (m_pidFd != -1)
        ::close(m_pidFd);
    m_pidFd = -1;
    m_pid = -1;
    emit finished(done != -1 && WIFEXITED(status) && WEXITSTATUS(status) == 0);
}
