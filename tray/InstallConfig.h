#pragma once

#include <QByteArray>

#include <cstdio>

// Where the suite is installed, read from its configuration file at each update launch, and
// the update tool below it, opened only when nobody but root can have put it there.
class InstallConfig final
{
public:
    static constexpr const char* DefaultPath = "/etc/Calvorin.conf";
    static constexpr const char* DefaultDirectory = "/opt/Calvorin";
    static constexpr const char* ToolPath = "/calvorin_antivirus/qelnrwrap";
    static constexpr int MaxToolPath = 4095;

    // The one word after the file's first "=", whatever precedes it: blanks before it are
    // skipped, and a blank, a line end or a NUL ends it. The default directory when the file
    // is missing or holds no such word. Empty, with the reason in refusal, when the file is
    // not a regular file of root's that only root may write.
    static QByteArray installDirectory(const char* configPath, QByteArray& refusal);
    static QByteArray installDirectory(std::FILE* file);
    // The update tool, opened for running (close-on-exec) after the same checks sudo makes:
    // the configuration file as above, an absolute install directory whose every component
    // is root's and writable by root alone (or sticky), and the tool a regular file of root's
    // that only root may write, never reached through a symbolic link. -1 with the reason in
    // refusal otherwise. path is where it was found.
    static int openUpdateTool(const char* configPath, QByteArray& path, QByteArray& refusal);
    // The configuration file: WARDLET_CONFIG_FILE when set, else the suite's own.
    static QByteArray configPath();
};
