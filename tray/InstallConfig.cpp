#include "InstallConfig.h"

#include <cctype>
#include <cstdio>

QByteArray InstallConfig::installDirectory(const char* configPath)
{
    std::FILE* file = std::fopen(configPath, "r");
    if (!file)
        return DefaultDirectory;
    int c;
    while ((c = std::fgetc(file)) != EOF && c != '=') { }
    while (c != EOF && (c == '=' || std::isspace(c)))
        c = std::fgetc(file);
    QByteArray word;
    while (c != EOF && !std::isspace(c)) {
        word.append(char(c));
        c = std::fgetc(file);
    }
    std::fclose(file);
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
