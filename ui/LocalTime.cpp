#include "LocalTime.h"

#include <ctime>

QString LocalTime::text(qint64 secondsSinceEpoch)
{
    const time_t time = time_t(secondsSinceEpoch);
    tm parts = {};
    if (secondsSinceEpoch == 0 || !localtime_r(&time, &parts))
        return QString();
    char buffer[128];
    const size_t size = std::strftime(buffer, sizeof buffer, "%c", &parts);
    return QString::fromLocal8Bit(buffer, int(size));
}
