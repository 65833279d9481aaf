#include "Logging.h"

#include <cstdio>
#include <syslog.h>
#include <unistd.h>

// Debug lines only when QT_LOGGING_RULES asks for them.
Q_LOGGING_CATEGORY(lcSingleInstance, "wardlet.singleinstance", QtInfoMsg)
Q_LOGGING_CATEGORY(lcTranslations, "wardlet.translations", QtInfoMsg)

namespace {

bool toStandardError = false;

void writeMessage(QtMsgType type, const QMessageLogContext&, const QString& message)
{
    const QByteArray line = Logging::plainLine(message);
    ::syslog(Logging::priority(type), "%s", line.constData());
    if (toStandardError)
        std::fputs((line + '\n').constData(), stderr);
}

} // namespace

namespace Logging {

void install()
{
    ::openlog("wardlet", LOG_PID, LOG_USER);
    toStandardError = ::isatty(STDERR_FILENO) || qEnvironmentVariableIntValue("QT_FORCE_STDERR_LOGGING") > 0;
    qInstallMessageHandler(writeMessage);
}

int priority(QtMsgType type)
{
    switch (type) {
    case QtDebugMsg:
        return LOG_DEBUG;
    case QtInfoMsg:
        return LOG_INFO;
    case QtWarningMsg:
        return LOG_WARNING;
    case QtCriticalMsg:
        return LOG_ERR;
    case QtFatalMsg:
        return LOG_CRIT;
    }
    return LOG_WARNING;
}

// Some messages carry what a daemon or the bus sent: none may make a second line, move a
// terminal's cursor or fill the log.
QByteArray plainLine(const QString& message)
{
    QString line = message.left(MaxLine);
    if (line.size() == MaxLine && line.at(MaxLine - 1).isHighSurrogate())
        line.chop(1);
    for (QChar& c : line) {
        if (c.category() == QChar::Other_Control)
            c = QLatin1Char(' ');
    }
    return line.toUtf8();
}

} // namespace Logging
