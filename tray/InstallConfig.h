#pragma once

#include <QByteArray>

#include <cstdio>

// Where the suite is installed, read from its configuration file at each update launch.
class InstallConfig final
{
public:
    static constexpr const char* DefaultPath = "/etc/Calvorin.conf";
    static constexpr const char* DefaultDirectory = "/opt/Calvorin";
    static constexpr const char* ToolPath = "/calvorin_antivirus/qelnrwrap";
    static constexpr int MaxToolPath = 4095;

    // The one word after the file's first "=", whatever precedes it: blanks before it are
    // skipped, and a blank, a line end or a NUL ends it. The default directory when the file
    // is missing or holds no such word.
    static QByteArray installDirectory(const char* configPath);
    static QByteArray installDirectory(std::FILE* file);
    // The update tool below the install directory, or empty when the path would be too long.
    static QByteArray updateTool(const char* configPath);
    // The configuration file: WARDLET_CONFIG_FILE when set, else the suite's own.
    static QByteArray configPath();
};
