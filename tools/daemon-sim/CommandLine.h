#pragma once

#include <QString>
#include <QStringList>

// Splits command lines into words. Double quotes group words with their spaces, a doubled
// quote inside them stands for one quote, and backslashes pass through as typed, because
// the tray expands its own escapes in alert templates.
class CommandLine final
{
public:
    // False with a message in error for an unterminated quote.
    static bool split(const QString& line, QStringList& words, QString& error);
    // The inverse for one word: quoted when split() would not give it back as it is.
    static QString quote(const QString& word);
};
