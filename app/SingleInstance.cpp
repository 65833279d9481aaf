#include "SingleInstance.h"

#include <QSocketNotifier>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <pwd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>
#include <vector>

namespace {

sockaddr_un instanceAddress(socklen_t& length)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    const char* suffix = std::getenv("WARDLET_SOCKET_SUFFIX");
    const std::string name = "wardlet-" + std::to_string(::getuid()) + (suffix ? suffix : "");
    const size_t size = std::min(name.size(), sizeof address.sun_path - 1);
    std::memcpy(address.sun_path + 1, name.data(), size);
    length = socklen_t(offsetof(sockaddr_un, sun_path) + 1 + size);
    return address;
}

std::string executable(pid_t pid)
{
    char path[4096];
    const ssize_t size = ::readlink(("/proc/" + std::to_string(pid) + "/exe").c_str(), path, sizeof path);
    return size > 0 ? std::string(path, size_t(size)) : std::string();
}

bool connectTo(int fd, const sockaddr_un& address, socklen_t length)
{
    // A copy started at the same moment may hold the name but not listen yet: give it a moment.
    for (int attempt = 0; attempt < 50; ++attempt) {
        if (::connect(fd, reinterpret_cast<const sockaddr*>(&address), length) == 0)
            return true;
        if (errno != ECONNREFUSED)
            return false;
        const timespec pause{0, 10 * 1000 * 1000};
        ::nanosleep(&pause, nullptr);
    }
    return false;
}

// The process holding the name, when it is this same program run by this same user.
pid_t runningCopy(const sockaddr_un& address, socklen_t length)
{
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (fd == -1)
        return 0;
    pid_t pid = 0;
    ucred peer = {};
    socklen_t size = sizeof peer;
    if (connectTo(fd, address, length) && ::getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0
        && peer.uid == ::getuid() && peer.pid > 0 && executable(peer.pid) == executable(::getpid()))
        pid = peer.pid;
    ::close(fd);
    return pid;
}

} // namespace

std::string homeDirectory(uid_t uid)
{
    long size = ::sysconf(_SC_GETPW_R_SIZE_MAX);
    std::vector<char> buffer(size_t(size > 0 ? size : 16384));
    passwd entry;
    passwd* result = nullptr;
    ::getpwuid_r(uid, &entry, buffer.data(), buffer.size(), &result);
    return result ? std::string(entry.pw_dir) : std::string();
}

SingleInstance::SingleInstance(QObject* parent)
    : QObject(parent)
{ }

SingleInstance::~SingleInstance()
{
    if (m_fd != -1)
        ::close(m_fd);
}

bool SingleInstance::claim()
{
    socklen_t length = 0;
    const sockaddr_un address = instanceAddress(length);
    m_fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (m_fd != -1 && ::bind(m_fd, reinterpret_cast<const sockaddr*>(&address), length) == 0
        && ::listen(m_fd, 8) == 0)
        return true;
    const bool taken = errno == EADDRINUSE;
    if (m_fd != -1)
        ::close(m_fd);
    m_fd = -1;
    // Without a name to hold there is no telling whether another copy runs: run.
    if (!taken)
        return true;
    const pid_t other = runningCopy(address, length);
    // Someone else holds the name: nobody to wake, and no reason not to run.
    if (other == 0)
        return true;
    // The exclusive create makes a burst of starts send one signal.
    const std::string file = wakeUpFile(other);
    const int fd = file.empty() ? -1 : ::open(file.c_str(), O_RDONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0700);
    if (fd != -1) {
        ::close(fd);
        ::kill(other, SIGUSR2);
    }
    return false;
}

void SingleInstance::serve()
{
    if (m_fd == -1 || m_notifier)
        return;
    m_notifier = new QSocketNotifier(m_fd, QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, [this] {
        const int fd = ::accept4(m_fd, nullptr, nullptr, SOCK_CLOEXEC);
        if (fd != -1)
            ::close(fd);
    });
}

std::string SingleInstance::wakeUpFile(pid_t pid)
{
    const std::string home = homeDirectory(::getuid());
    return home.empty() ? std::string() : (home + "/.wardletNotify" + std::to_string(pid)).substr(0, 4095);
}

bool SingleInstance::takeWakeUpFile()
{
    const std::string file = wakeUpFile(::getpid());
    struct stat info;
    if (file.empty() || ::stat(file.c_str(), &info) != 0)
        return false;
    ::unlink(file.c_str());
    return true;
}
