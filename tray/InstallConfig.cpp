#include "InstallConfig.h"

#include <cctype>
#include <cstdio>

QByteArray InstallConfig::installDirectory(const char* configPath)
{
    std::FILE* file = std::fopen(configPath, "re");
    if (!file)
        return DefaultDirectory;
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

QByteArray InstallConfig::updateTool(const char* configPath)
{
    const QByteArray tool = installDirectory(configPath) + ToolPath;
    return tool.size() > MaxToolPath ? QByteArray() : tool;
}

QByteArray InstallConfig::configPath()
{
    const QByteArray path = qgetenv("WARDLET_CONFIG_FILE");
    return path.isEmpty() ? QByteArray(DefaultPath) : path;
}
