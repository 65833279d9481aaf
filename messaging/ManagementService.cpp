#include "ManagementService.h"

#include "BodyReader.h"
#include "Message.h"
#include "MessageIds.h"

#include <optional>

namespace {

// A present flag, then a byte count and the bytes; nullopt when the report does not hold them.
std::optional<QByteArray> readTextReport(const unsigned char* data, int length)
{
    BodyReader in(data, length);
    if (!in.has(8))
        return std::nullopt;
    const bool present = in.u32() != 0;
    const qint32 count = in.i32();
    // An absent text is never read, so its count does not matter.
    if (!present)
        return QByteArray();
    if (count < 0 || !in.has(count))
        return std::nullopt;
    return QByteArray(in.position(), count);
}

// The state of the link to the management server.
struct ServerRecord
{
    bool managed = false;
    bool online = false;
    qint32 time = 0;
    QByteArray server;
};

std::optional<ServerRecord> readServerRecord(const unsigned char* data, int length)
{
    BodyReader in(data, length);
    if (!in.has(16))
        return std::nullopt;
    ServerRecord record;
    record.managed = in.u32() != 0;
    record.online = in.u32() != 0;
    record.time = in.i32();
    const qint32 count = in.i32();
    if (count < 0 || !in.has(count))
        return std::nullopt;
    record.server = QByteArray(in.position(), count);
    return record;
}

} // namespace

ManagementService::ManagementService(QObject* parent)
    : QObject(parent)
{ }

void ManagementService::handleMessage(const Message& message)
{
    if (message.length < 4)
        return;
    const unsigned char* data = message.data() + 4;
    const int length = message.length - 4;
    switch (qFromBigEndian<quint32>(message.data())) {
    case PdxPolicyNumberReport:
        // Counted with its terminating zero byte, which is not part of the number.
        if (const auto text = readTextReport(data, length))
            emit policyNumberReported(QString::fromLatin1(text->constData(), qMax(0, int(text->size()) - 1)));
        break;
    case PdxGroupReport:
        // Every byte counted is kept, zero bytes included, exactly as the client sent it.
        if (const auto text = readTextReport(data, length))
            emit groupReported(QString::fromUtf8(text->constData(), int(text->size())));
        break;
    case PdxLocationReport:
        if (const auto text = readTextReport(data, length))
            emit locationReported(QString::fromUtf8(text->constData(), int(text->size())));
        break;
    case PdxServerStatusReport:
        handleServerStatus(data, length);
        break;
    case PdxConnectedTimeReport:
        handleConnectedTime(data, length);
        break;
    default:
        break;
    }
}

void ManagementService::handleServerStatus(const unsigned char* data, int length)
{
    const std::optional<ServerRecord> record = readServerRecord(data, length);
    if (!record)
        return;
    if (!record->managed) {
        emit stateReported(ManagementState::SelfManaged);
        return;
    }
    if (!record->online) {
        emit stateReported(ManagementState::Offline);
        return;
    }
    emit serverReported(QString::fromLatin1(record->server.constData(), int(record->server.size())));
    emit connectedTimeReported(record->time);
    emit stateReported(ManagementState::Online);
}

void ManagementService::handleConnectedTime(const unsigned char* data, int length)
{
    const std::optional<ServerRecord> record = readServerRecord(data, length);
    if (!record)
        return;
    const bool known = record->managed && !record->server.isEmpty();
    emit connectedTimeReported(known ? record->time : 0);
}
