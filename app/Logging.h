#pragma once

#include <QByteArray>
#include <QLoggingCategory>
#include <QString>

// The check for a running copy of this program.
Q_DECLARE_LOGGING_CATEGORY(lcSingleInstance)
// Translations found but not believed.
Q_DECLARE_LOGGING_CATEGORY(lcTranslations)

namespace Logging {

// The longest line written, in characters.
constexpr int MaxLine = 1024;

// Sends every message, Qt's own too, to syslog under the ident "wardlet", and to standard error
// when that is a terminal or QT_FORCE_STDERR_LOGGING is set. Called once, before anything logs.
void install();

// The syslog priority of a message of this type.
int priority(QtMsgType type);
// A message as one line of at most MaxLine characters, control characters made spaces.
QByteArray plainLine(const QString& message);

} // namespace Logging
