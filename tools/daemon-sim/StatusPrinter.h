#pragma once

#include <QList>

class SimChannel;
struct DaemonState;

// Answers the status command: the channels as comments, then the state as the commands that
// would set it again, so the output can be saved as a script.
class StatusPrinter final
{
public:
    static void print(const QList<SimChannel*>& channels, const DaemonState& state);
};
