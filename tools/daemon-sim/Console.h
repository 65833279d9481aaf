#pragma once

#include <QString>

// Line-based output. Tests read stdout through a pipe, so every line is flushed at once.
class Console final
{
public:
    // Quiet drops the traffic log; verbose adds the frames sent to it.
    static void setQuiet(bool quiet);
    static void setVerbose(bool verbose);
    static bool verbose();

    // Traffic and connection events, silenced by --quiet.
    static void log(const QString& line);
    // Answers to commands such as status, printed even when quiet.
    static void print(const QString& line);
    // "error: " and the message, on stderr.
    static void error(const QString& message);

    // A text in a log line or message, between double quotes and otherwise as it is.
    static QString quoted(const QString& text);
};
