#include "InstallConfig.h"

#include <QList>

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// A path in a log line is the configuration's, which root wrote, but still kept short.
QByteArray shown(const QByteArray& path)
{
    return path.size() > 200 ? path.left(200) + "..." : path;
}

// Root's, and nobody else may change what it holds.
bool isRootsAlone(const struct stat& info)
{
    return info.st_uid == 0 && (info.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

// A directory whose entries only root can change: root's alone, or root's and sticky, where
// others may add entries but not touch root's.
bool isSafeDirectory(const struct stat& info)
{
    return S_ISDIR(info.st_mode) && info.st_uid == 0
        && ((info.st_mode & (S_IWGRP | S_IWOTH)) == 0 || (info.st_mode & S_ISVTX) != 0);
}

// Opens path one component at a time from "/", never following a link and checking each
// directory on the way; the last component is opened with flags. -1 and a reason otherwise.
int openBelowRoot(const QByteArray& path, int flags, QByteArray& refusal)
{
    if (!path.startsWith('/')) {
        refusal = "the install directory " + shown(path) + " is not absolute";
        return -1;
    }
    const QList<QByteArray> components = path.split('/');
    int directory = ::open("/", O_PATH | O_DIRECTORY | O_CLOEXEC);
    QByteArray reached = "/";
    for (qsizetype i = 0; i < components.size(); ++i) {
        const QByteArray& component = components.at(i);
        if (component.isEmpty() || component == ".")
            continue;
        struct stat info = {};
        if (directory == -1 || ::fstat(directory, &info) != 0 || !isSafeDirectory(info)) {
            refusal = shown(reached) + " is not a directory that only root can change";
            break;
        }
        if (component == "..") {
            refusal = shown(path) + " goes up with \"..\"";
            break;
        }
        const bool last = i == components.size() - 1;
        const int next = ::openat(directory, component.constData(),
                                  (last ? flags : O_PATH | O_DIRECTORY) | O_NOFOLLOW | O_CLOEXEC);
        ::close(directory);
        directory = next;
        reached += component + (last ? "" : "/");
        if (next == -1) {
            refusal = shown(reached)
                + " cannot be opened without following a link: " + QByteArray(std::strerror(errno));
            return -1;
        }
        if (last)
            return directory;
    }
    if (directory != -1)
        ::close(directory);
    return -1;
}

} // namespace

QByteArray InstallConfig::installDirectory(const char* configPath, QByteArray& refusal)
{
    const int fd = ::open(configPath, O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
    if (fd == -1 && errno == ENOENT)
        return DefaultDirectory;
    struct stat info = {};
    if (fd == -1 || ::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode) || !isRootsAlone(info)) {
        refusal = "the configuration file " + shown(configPath)
            + " is not a regular file that only root can change";
        if (fd != -1)
            ::close(fd);
        return QByteArray();
    }
    std::FILE* file = ::fdopen(fd, "r");
    if (!file) {
        ::close(fd);
        refusal = "the configuration file cannot be read";
        return QByteArray();
    }
    const QByteArray directory = installDirectory(file);
    std::fclose(file);
    return directory;
}

QByteArray InstallConfig::installDirectory(std::FILE* file)
{
    int c;
    while ((c = std::fgetc(file)) != EOF && c != '=') { }
    if (c == '=') {
        do
            c = std::fgetc(file);
        while (c != EOF && std::isspace(c));
    }
    QByteArray word;
    // A word longer than any path cannot make a tool path, so there is no use reading on.
    while (c != EOF && c != '\0' && !std::isspace(c) && word.size() <= MaxToolPath) {
        word.append(char(c));
        c = std::fgetc(file);
    }
    return word.isEmpty() ? QByteArray(DefaultDirectory) : word;
}

int InstallConfig::openUpdateTool(const char* configPath, QByteArray& path, QByteArray& refusal)
{
    const QByteArray directory = installDirectory(configPath, refusal);
    if (directory.isEmpty())
        return -1;
    path = directory + ToolPath;
    if (path.size() > MaxToolPath) {
        refusal = "the install directory is too long for a path";
        return -1;
    }
    const int fd = openBelowRoot(path, O_RDONLY, refusal);
    struct stat info = {};
    if (fd != -1 && (::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode) || !isRootsAlone(info))) {
        refusal = shown(path) + " is not a regular file that only root can change";
        ::close(fd);
        return -1;
    }
    return fd;
}

QByteArray InstallConfig::configPath()
{
    const QByteArray path = qgetenv("WARDLET_CONFIG_FILE");
    return path.isEmpty() ? QByteArray(DefaultPath) : path;
}
