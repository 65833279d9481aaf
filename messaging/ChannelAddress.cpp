#include "ChannelAddress.h"

#include <algorithm>
#include <cstring>

static_assert(ChannelAddress::Length == 110, "the daemons bind the full 108-byte path");

namespace ChannelAddress {

QByteArray name(Channel channel)
{
    QByteArray name = channel == Channel::ScanDaemon ? QByteArrayLiteral("Calvorin-trayIPC")
                                                     : QByteArrayLiteral("Calvorin-PdxIPC");
    return name + qgetenv("WARDLET_SOCKET_SUFFIX");
}

sockaddr_un address(const QByteArray& name)
{
    sockaddr_un address;
    std::memset(&address, 0, sizeof address);
    address.sun_family = AF_UNIX;
    const size_t length = std::min(size_t(name.size()), sizeof address.sun_path - 1);
    std::memcpy(address.sun_path + 1, name.constData(), length);
    return address;
}

} // namespace ChannelAddress
