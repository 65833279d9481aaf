#include "PdxStatusService.h"

#include "BigEndian.h"
#include "Message.h"
#include "MessageIds.h"
#include "tray/WardletApp.h"

#include <QString>

#include <cstdint>
#include <ctime>
#include <optional>

namespace {

// A present flag, a byte count, then the bytes.
struct TextReport
{
    bool present = false;
    const char* text = nullptr;
    int count = 0;
};

// The state of the link to the management server.
struct ServerRecord
{
    bool managed = false;
    bool online = false;
    time_t time = 0;
    const char* server = nullptr;
    int serverLength = 0;
};

bool readTextReport(const unsigned char* data, int length, TextReport& report)
{
    if (length < 8)
        return false;
    report.present = BigEndian::readU32(data) != 0;
    report.count = BigEndian::readI32(data + 4);
    report.text = reinterpret_cast<const char*>(data + 8);
    // An absent text is never read, so its count does not matter.
    return !report.present || (report.count >= 0 && report.count <= length - 8);
}

bool readServerRecord(const unsigned char* data, int length, ServerRecord& record)
{
    if (length < 16)
        return false;
    const int32_t count = BigEndian::readI32(data + 12);
    if (count < 0 || count > length - 16)
        return false;
    record.managed = BigEndian::readU32(data) != 0;
    record.online = BigEndian::readU32(data + 4) != 0;
    record.time = time_t(BigEndian::readI32(data + 8));
    record.server = reinterpret_cast<const char*>(data + 16);
    record.serverLength = count;
    return true;
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

PdxStatusService::PdxStatusService(WardletApp* app)
    : _app(app)
{ }

int PdxStatusService::serviceId() const
{
    return 3;
}

int PdxStatusService::serviceWord() const
{
    return 0;
}

void PdxStatusService::handleMessage(Message* message)
{
    const unsigned char* body = message->data;
    const int length = message->length;
    if (length < 4)
        return;
    const unsigned char* data = body + 4;
    const int rest = length - 4;
    switch (BigEndian::readU32(body)) {
    case PdxPolicyNumberReport:
        handlePolicyNumber(data, rest);
        break;
    case PdxGroupReport:
        handleGroup(data, rest);
        break;
    case PdxLocationReport:
        handleLocation(data, rest);
        break;
    case PdxServerStatusReport:
        handleServerStatus(data, rest);
        break;
    case PdxConnectedTimeReport:
        handleConnectedTime(data, rest);
        break;
    default:
        break;
    }
}

void PdxStatusService::handleServerStatus(const unsigned char* data, int length)
{
    ServerRecord record;
    if (!readServerRecord(data, length, record))
        return;
    if (!record.managed) {
        _app->setServerAddress(QStringLiteral("Self-managed"));
        _app->setPDXStatus(ProtectionSelfManaged);
        return;
    }
    if (!record.online) {
        _app->setServerAddress(QStringLiteral("Offline"));
        _app->setPDXStatus(ProtectionOffline);
        return;
    }
    _app->setServerAddress(QString::fromLatin1(record.server, record.serverLength));
    // Online is only claimed together with a time the user can read.
    if (const std::optional<QString> text = renderTime(record.time)) {
        _app->setConnectedTime(*text);
        _app->setPDXStatus(ProtectionOnline);
    }
}

void PdxStatusService::handleConnectedTime(const unsigned char* data, int length)
{
    ServerRecord record;
    if (!readServerRecord(data, length, record))
        return;
    if (!record.managed || record.serverLength == 0 || record.time == 0) {
        _app->setConnectedTime(QString());
        return;
    }
    if (const std::optional<QString> text = renderTime(record.time))
        _app->setConnectedTime(*text);
}

void PdxStatusService::handlePolicyNumber(const unsigned char* data, int length)
{
    TextReport report;
    if (!readTextReport(data, length, report))
        return;
    // The policy number's count includes its terminating zero byte.
    const int size = report.count > 0 ? report.count - 1 : 0;
    _app->setPolicyNumber(report.present ? QString::fromLatin1(report.text, size) : QString());
}

void PdxStatusService::handleGroup(const unsigned char* data, int length)
{
    TextReport report;
    if (!readTextReport(data, length, report))
        return;
    // Every byte counted is kept, zero bytes included, exactly as the client sent it.
    _app->setGroupInfo(report.present ? QString::fromUtf8(report.text, report.count) : QString());
}

void PdxStatusService::handleLocation(const unsigned char* data, int length)
{
    TextReport report;
    if (!readTextReport(data, length, report))
        return;
    _app->setLocationInfo(report.present ? QString::fromUtf8(report.text, report.count) : QString());
}
