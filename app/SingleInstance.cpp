#include "SingleInstance.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <new>
#include <pwd.h>
#include <unistd.h>

namespace {

// Single-quoted for the shell, so no program name can run a command.
std::string shellQuoted(const std::string& text)
{
    std::string quoted = "'";
    for (char c : text) {
        if (c == '\'')
            quoted += "'\\''";
        else
            quoted += c;
    }
    return quoted + "'";
}

// The process id of another line of `ps` output naming the program, or 0.
pid_t otherInstance(const std::string& name, pid_t self)
{
    const std::string command = "ps -U " + std::to_string(getuid()) + " | grep " + shellQuoted(name);
    std::FILE* pipe = ::popen(command.c_str(), "r");
    if (!pipe)
        return 0;
    pid_t found = 0;
    char line[1024];
    while (!found && std::fgets(line, sizeof line, pipe)) {
        const char* token = line + std::strspn(line, " ");
        const auto pid = pid_t(std::strtoul(token, nullptr, 10));
        // 0 or a negative number would make kill() signal a whole process group.
        if (pid > 0 && pid != self && std::strstr(line, name.c_str()))
            found = pid;
    }
    ::pclose(pipe);
    return found;
}

} // namespace

int homeDirectory(uid_t uid, std::string& home)
{
    long size = ::sysconf(_SC_GETPW_R_SIZE_MAX);
    if (size == -1)
        size = 16384;
    std::unique_ptr<char[]> buffer(new (std::nothrow) char[size_t(size)]);
    if (!buffer) {
        home.clear();
        return ENOMEM;
    }
    std::memset(buffer.get(), 0, size_t(size));
    passwd entry;
    passwd* result = nullptr;
    const int error = ::getpwuid_r(uid, &entry, buffer.get(), size_t(size), &result);
    if (result)
        home = entry.pw_dir;
    return error;
}

std::string wakeUpFile(const std::string& home, pid_t pid)
{
    return (home + "/.wardletNotify" + std::to_string(pid)).substr(0, 4095);
}

bool findRunningInstance(const char* programPath)
{
    const pid_t self = ::getpid();
    if (!programPath)
        return false;
    const char* slash = std::strrchr(programPath, '/');
    const std::string name = slash ? slash + 1 : programPath;
    if (name.empty())
        return false;
    const pid_t other = otherInstance(name, self);
    if (!other)
        return false;

    std::string home;
    homeDirectory(::getuid(), home);
    if (home.empty())
        return true;
    // The exclusive create makes a burst of starts send one signal.
    const int fd = ::open(wakeUpFile(home, other).c_str(), O_RDONLY | O_CREAT | O_EXCL, 0700);
    if (fd != -1) {
        ::close(fd);
        ::kill(other, SIGUSR2);
    }
    return true;
}
