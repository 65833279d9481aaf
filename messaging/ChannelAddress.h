#pragma once

#include <QByteArray>

#include <sys/socket.h>
#include <sys/un.h>

// Where the two daemons listen: abstract Unix socket names padded with zero bytes to the
// whole sun_path, so the address length is always 110.
class ChannelAddress
{
public:
    enum Channel
    {
        Kvs = 1,
        Pdx = 2
    };
    static constexpr socklen_t Length = sizeof(sockaddr_un);

    // "Calvorin-trayIPC" or "Calvorin-PdxIPC". A non-empty WARDLET_SOCKET_SUFFIX is appended,
    // so tests and simulators can run beside the real daemons.
    static QByteArray name(int channel);
    // The address for a name; names longer than 107 bytes are cut.
    static sockaddr_un address(const QByteArray& name);
};
