#include "Console.h"

#include <QByteArray>

#include <cstdio>

namespace {

bool quietOutput = false;
bool verboseOutput = false;

void writeLine(std::FILE* stream, const QString& line)
{
    const QByteArray bytes = line.toUtf8() + '\n';
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stream);
    std::fflush(stream);
}

} // namespace

void Console::setQuiet(bool quiet)
{
    quietOutput = quiet;
}

void Console::setVerbose(bool verbose)
{
    verboseOutput = verbose;
}

bool Console::verbose()
{
    return verboseOutput && !quietOutput;
}

void Console::log(const QString& line)
{
    if (!quietOutput)
        writeLine(stdout, line);
}

void Console::print(const QString& line)
{
    writeLine(stdout, line);
}

void Console::error(const QString& message)
{
    writeLine(stderr, QStringLiteral("error: ") + message);
}

QString Console::quoted(const QString& text)
{
    return QLatin1Char('"') + text + QLatin1Char('"');
}
