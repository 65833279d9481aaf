#include "SingleInstance.h"

#include "app/Logging.h"
#include "ui/WindowFocus.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

// A wake-up file older than this was left by a copy that never got to read it.
constexpr time_t StaleWakeUp = 5;
const char* const DeletedMark = " (deleted)";
using WindowFocus::MaxToken;

std::string usableToken(const char* data, size_t size)
{
    return WindowFocus::isUsableToken(data, size) ? std::string(data, size) : std::string();
}

// What this start was given to bring a window forward: a Wayland activation token, else an X11
// startup notification id.
std::string activationToken()
{
    const char* token = std::getenv("XDG_ACTIVATION_TOKEN");
    if (!token || !*token)
        token = std::getenv("DESKTOP_STARTUP_ID");
    return token ? usableToken(token, ::strnlen(token, MaxToken + 1)) : std::string();
}

// A directory of the user's own that nobody else may enter.
bool isPrivateDirectory(const std::string& path)
{
    struct stat info;
    return !path.empty() && path[0] == '/' && ::lstat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode)
        && info.st_uid == ::getuid() && (info.st_mode & 077) == 0;
}

// The program a process runs. An upgrade replaces the file under a running copy, whose link
// then ends in " (deleted)": it is still the same program.
std::string executable(pid_t pid)
{
    char path[4096];
    const ssize_t size = ::readlink(("/proc/" + std::to_string(pid) + "/exe").c_str(), path, sizeof path);
    std::string name = size > 0 ? std::string(path, size_t(size)) : std::string();
    const std::string mark = DeletedMark;
    if (name.size() > mark.size() && name.compare(name.size() - mark.size(), mark.size(), mark) == 0)
        name.resize(name.size() - mark.size());
    return name;
}

bool runsAsUs(pid_t pid)
{
    struct stat info;
    return ::stat(("/proc/" + std::to_string(pid)).c_str(), &info) == 0 && info.st_uid == ::getuid();
}

// Leaves the wake-up file, with this start's activation token in it, and signals. The exclusive
// create makes a burst of starts send one signal; a file the running copy never took (it was busy
// starting, or it crashed and its process id came round again) is replaced once it is old.
void wakeUp(pid_t pid)
{
    const std::string file = SingleInstance::wakeUpFile(pid);
    if (file.empty())
        return;
    int fd = ::open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0700);
    struct stat info;
    if (fd == -1 && errno == EEXIST && ::lstat(file.c_str(), &info) == 0
        && std::time(nullptr) - info.st_mtime >= StaleWakeUp && ::unlink(file.c_str()) == 0)
        fd = ::open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0700);
    if (fd == -1)
        return;
    // A short or failed write only costs the token: the running copy checks what it reads.
    const std::string token = activationToken();
    if (!token.empty())
        static_cast<void>(::write(fd, token.data(), token.size()));
    ::close(fd);
    ::kill(pid, SIGUSR2);
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

SingleInstance::~SingleInstance()
{
    if (m_fd != -1)
        ::close(m_fd);
}

std::string SingleInstance::lockFile()
{
    const char* suffix = std::getenv("WARDLET_SOCKET_SUFFIX");
    const std::string name = "/wardlet" + std::string(suffix ? suffix : "").substr(0, 200) + ".lock";
    const char* runtime = std::getenv("XDG_RUNTIME_DIR");
    if (runtime && isPrivateDirectory(runtime))
        return runtime + name;
    const std::string home = homeDirectory(::getuid());
    if (home.empty())
        return std::string();
    const std::string directory = home + "/.wardlet";
    ::mkdir(directory.c_str(), 0700);
    return isPrivateDirectory(directory) ? directory + name : std::string();
}

bool SingleInstance::claim()
{
    const std::string file = lockFile();
    m_fd = file.empty() ? -1 : ::open(file.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (m_fd == -1) {
        qCInfo(lcSingleInstance, "no lock file can be had; running without the check for another copy");
        return true;
    }
    // The holder may end between a refused lock and the question who holds it: then try again.
    for (int attempt = 0; attempt < 100; ++attempt) {
        struct flock lock = {};
        lock.l_type = F_WRLCK;
        lock.l_whence = SEEK_SET;
        if (::fcntl(m_fd, F_SETLK, &lock) == 0)
            return true;
        if (errno != EAGAIN && errno != EACCES)
            return true;
        if (::fcntl(m_fd, F_GETLK, &lock) != 0)
            return true;
        if (lock.l_type == F_UNLCK)
            continue;
        ::close(m_fd);
        m_fd = -1;
        // Only the user's own processes can lock here; still, only this program is signalled.
        // Anything else (or a holder in another process namespace, whose id reads 0) is no copy:
        // nobody to wake, and no reason not to run.
        if (lock.l_pid <= 0 || !runsAsUs(lock.l_pid) || executable(lock.l_pid) != executable(::getpid()))
            return true;
        wakeUp(lock.l_pid);
        qCInfo(lcSingleInstance, "process %d is the running copy; asked it to show its window",
               int(lock.l_pid));
        return false;
    }
    return true;
}

std::string SingleInstance::wakeUpFile(pid_t pid)
{
    const std::string home = homeDirectory(::getuid());
    return home.empty() ? std::string() : (home + "/.wardletNotify" + std::to_string(pid)).substr(0, 4095);
}

std::optional<std::string> SingleInstance::takeWakeUpFile()
{
    const std::string file = wakeUpFile(::getpid());
    struct stat info;
    if (file.empty() || ::lstat(file.c_str(), &info) != 0)
        return std::nullopt;
    // Whatever is there still asks for the window; only a plain file's content can be a token.
    // Non-blocking, so that a pipe put in its place cannot hold the program up.
    char token[MaxToken + 1];
    ssize_t size = 0;
    const int fd = ::open(file.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (fd != -1) {
        if (::fstat(fd, &info) == 0 && S_ISREG(info.st_mode))
            size = ::read(fd, token, sizeof token);
        ::close(fd);
    }
    ::unlink(file.c_str());
    return size > 0 ? usableToken(token, size_t(size)) : std::string();
}
