#pragma once

#include <QDate>
#include <QMetaType>

// The virus definitions in use as the scan daemon dates them: the day they were released and
// their revision.
struct DefinitionsRelease final
{
    // The daemon has no definitions yet and waits for an update: it sends the year 0.
    bool pending = false;
    // Invalid when the daemon's day, month and year make no date.
    QDate date;
    qint32 revision = 0;
};

Q_DECLARE_METATYPE(DefinitionsRelease)
