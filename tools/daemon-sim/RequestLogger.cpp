#include "RequestLogger.h"

#include "Console.h"
#include "Daemon.h"
#include "messaging/Message.h"
#include "messaging/MessageIds.h"
#include "SimChannel.h"

#include <QString>
#include <QtEndian>

namespace {

struct Request
{
    Daemon receiver;
    uint32_t id;
    const char* name;
    // The body length it always has; -1 when it carries a text.
    int length;
};

const Request requests[] = {
    {Daemon::Kvs, KvsStatusRequest, "KvsStatusRequest", -1},
    {Daemon::Kvs, KvsVersionsRequest, "KvsVersionsRequest", 4},
    {Daemon::Kvs, KvsScanStatusRequest, "KvsScanStatusRequest", 4},
    {Daemon::Kvs, KvsUpdateDone, "KvsUpdateDone", 4},
    {Daemon::Pdx, PdxPolicyNumberRequest, "PdxPolicyNumberRequest", 4},
    {Daemon::Pdx, PdxGroupRequest, "PdxGroupRequest", 4},
    {Daemon::Pdx, PdxLocationRequest, "PdxLocationRequest", 4},
    {Daemon::Pdx, PdxServerStatusRequest, "PdxServerStatusRequest", 4},
    {Daemon::Pdx, PdxConnectedTimeRequest, "PdxConnectedTimeRequest", 4},
    {Daemon::Pdx, PdxUpdateResult, "PdxUpdateResult", 8},
};

const Request* findRequest(int serviceId, uint32_t id)
{
    for (const Request& request : requests) {
        if (int(request.receiver) == serviceId && request.id == id)
            return &request;
    }
    return nullptr;
}

// The status request carries the tray's locale: a count with the terminating zero, then the text.
QString localeDetails(const unsigned char* body, int length)
{
    if (length < 8)
        return QStringLiteral(" len=%1").arg(length);
    const uint32_t count = qFromBigEndian<quint32>(body + 4);
    if (count > uint32_t(length - 8))
        return QStringLiteral(" locale-length=%1 len=%2").arg(count).arg(length);
    int size = int(count);
    if (size > 0 && body[8 + size - 1] == 0)
        --size;
    QString details = QStringLiteral(" locale=")
        + Console::quoted(QString::fromUtf8(reinterpret_cast<const char*>(body + 8), size));
    if (int(count) != length - 8)
        details += QStringLiteral(" len=%1").arg(length);
    return details;
}

// What a request carries besides its id.
QString requestDetails(const Request& request, const unsigned char* body, int length)
{
    if (request.id == KvsStatusRequest)
        return localeDetails(body, length);
    QString details;
    if (request.id == PdxUpdateResult && length >= 8)
        details = QStringLiteral(" result=%1").arg(qFromBigEndian<quint32>(body + 4));
    if (length != request.length)
        details += QStringLiteral(" len=%1").arg(length);
    return details;
}

} // namespace

uint32_t RequestLogger::log(const SimChannel& channel, const Message& message)
{
    QString line = QStringLiteral("%1 <- seq=%2 ").arg(channel.label()).arg(message.sequence);
    const uint32_t id = message.length >= 4 ? qFromBigEndian<quint32>(message.data()) : 0;
    const Request* request = message.length >= 4 ? findRequest(channel.serviceId(), id) : nullptr;
    if (request)
        line += QLatin1String(request->name) + requestDetails(*request, message.data(), message.length);
    else if (message.length >= 4)
        line += QStringLiteral("id=%1 len=%2").arg(id).arg(message.length);
    else
        line += QStringLiteral("len=%1").arg(message.length);
    // Header fields the tray should never set are shown, so a test can catch them.
    if (message.serviceId != channel.serviceId())
        line += QStringLiteral(" service=%1").arg(message.serviceId);
    if (message.reserved != 0 || message.serviceWord != 0 || message.param != 0)
        line += QStringLiteral(" reserved=%1 word=%2 param=%3")
                    .arg(message.reserved)
                    .arg(message.serviceWord)
                    .arg(message.param);
    Console::log(line);
    return request ? request->id : 0;
}
