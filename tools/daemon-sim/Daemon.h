#pragma once

// The two daemons the simulator stands in for, by the service id their frames carry. Kvs is
// the scan daemon's channel and Pdx the management client's; the message ids, the command
// words and the log use the same two names.
enum class Daemon
{
    Kvs = 2,
    Pdx = 3
};
