#include "ManagementService.h"

#include "BodyReader.h"
#include "Message.h"
#include "MessageIds.h"

#include <ctime>
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
    time_t time = 0;
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
    record.time = time_t(in.i32());
    const qint32 count = in.i32();
    if (count < 0 || !in.has(count))
        return std::nullopt;
    record.server = QByteArray(in.position(), count);
    return record;
}

// In the user's own zone and locale, the way the C library writes dates.
std::optional<QString> renderTime(time_t time)
{
    struct tm parts;
    if (!localtime_r(&time, &parts))
        return std::nullopt;
    char buffer[1024];
    const size_t size = std::strftime(buffer, sizeof buffer, "%c", &parts);
    if (size == 0)
        return std::nullopt;
    return QString::fromLocal8Bit(buffer, int(size));
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
        emit serverReported(QStringLiteral("Self-managed"));
        emit stateReported(ManagementState::SelfManaged);
        return;
    }
    if (!record->online) {
        emit serverReported(QStringLiteral("Offline"));
        emit stateReported(ManagementState::Offline);
        return;
    }
    emit serverReported(QString::fromLatin1(record->server.constData(), int(record->server.size())));
    // Online is only claimed together with a time the user can read.
    if (const std::optional<QString> text = renderTime(record->time)) {
        emit connectedTimeReported(*text);
        emit stateReported(ManagementState::Online);
    }
}

void ManagementService::handleConnectedTime(const unsigned char* data, int length)
{
    const std::optional<ServerRecord> record = readServerRecord(data, length);
    if (!record)
        return;
    if (!record->managed || record->server.isEmpty() || record->time == 0) {
        emit connectedTimeReported(QString());
        return;
    }
    if (const std::optional<QString> text = renderTime(record->time))
        emit connectedTimeReported(*text);
}
