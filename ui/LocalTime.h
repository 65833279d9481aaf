#pragma once

#include <QString>

// A moment as the user's clock shows it: in the zone of the environment, written the way the C
// library writes a date and time for the locale the program took from the environment at start,
// as the daemons' own texts do.
class LocalTime final
{
public:
    // Empty for 0, which the daemons send for "never".
    static QString text(qint64 secondsSinceEpoch);
};
