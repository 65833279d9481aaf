#pragma once

#include <QByteArray>
#include <QMetaType>

#include <sys/socket.h>
#include <sys/un.h>

// The two daemons this program talks to, each on a channel of its own.
enum class Channel
{
    ScanDaemon,
    Management,
};

// Where the two daemons listen: abstract Unix socket names padded with zero bytes to the
// whole sun_path, so the address length is always 110.
namespace ChannelAddress {

constexpr socklen_t Length = sizeof(sockaddr_un);

// "Calvorin-trayIPC" or "Calvorin-PdxIPC". A non-empty WARDLET_SOCKET_SUFFIX is appended,
// so tests and simulators can run beside the real daemons.
QByteArray name(Channel channel);
// The address for a name; names longer than 107 bytes are cut.
sockaddr_un address(const QByteArray& name);

} // namespace ChannelAddress
Q_DECLARE_METATYPE(Channel)
