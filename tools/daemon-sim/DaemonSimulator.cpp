#include "DaemonSimulator.h"

#include "BodyWriter.h"
#include "CommandLine.h"
#include "Console.h"
#include "messaging/Message.h"
#include "messaging/MessageIds.h"

#include <QHash>
#include <QtEndian>

#include <cctype>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <optional>
#include <utility>

namespace {

constexpr int KvsServiceId = 2;
constexpr int PdxServiceId = 3;

struct Request
{
    int serviceId;
    uint32_t id;
    const char* name;
    // The body length it always has; -1 when it carries a text.
    int length;
};

const Request requests[] = {
    {KvsServiceId, KvsStatusRequest, "KvsStatusRequest", -1},
    {KvsServiceId, KvsVersionsRequest, "KvsVersionsRequest", 4},
    {KvsServiceId, KvsScanStatusRequest, "KvsScanStatusRequest", 4},
    {KvsServiceId, KvsUpdateDone, "KvsUpdateDone", 4},
    {PdxServiceId, PdxPolicyNumberRequest, "PdxPolicyNumberRequest", 4},
    {PdxServiceId, PdxGroupRequest, "PdxGroupRequest", 4},
    {PdxServiceId, PdxLocationRequest, "PdxLocationRequest", 4},
    {PdxServiceId, PdxServerStatusRequest, "PdxServerStatusRequest", 4},
    {PdxServiceId, PdxConnectedTimeRequest, "PdxConnectedTimeRequest", 4},
    {PdxServiceId, PdxUpdateResult, "PdxUpdateResult", 8},
};

const Request* findRequest(int serviceId, uint32_t id)
{
    for (const Request& request : requests) {
        if (request.serviceId == serviceId && request.id == id)
            return &request;
    }
    return nullptr;
}

const char* const alertKeys = "LEVPCSNAF";

QString usage(const char* text)
{
    return QStringLiteral("usage: ") + QLatin1String(text);
}

QString quoted(const QString& text)
{
    return QLatin1Char('"') + text + QLatin1Char('"');
}

bool parseU32(const QString& text, uint32_t& value)
{
    bool ok = false;
    const qulonglong number = text.toULongLong(&ok);
    if (!ok || number > UINT32_MAX)
        return false;
    value = uint32_t(number);
    return true;
}

bool parseI32(const QString& text, int32_t& value)
{
    bool ok = false;
    const qlonglong number = text.toLongLong(&ok);
    if (!ok || number < INT32_MIN || number > INT32_MAX)
        return false;
    value = int32_t(number);
    return true;
}

bool parseFlag(const QString& text, bool& value)
{
    if (text != QLatin1String("0") && text != QLatin1String("1"))
        return false;
    value = text == QLatin1String("1");
    return true;
}

// Seconds since the epoch, or "now".
bool parseTime(const QString& text, int32_t& value)
{
    if (text == QLatin1String("now")) {
        value = int32_t(std::time(nullptr));
        return true;
    }
    return parseI32(text, value);
}

// What a request carries besides its id, for the log.
QString requestDetails(const Request& request, const unsigned char* body, int length)
{
    if (request.id == KvsStatusRequest) {
        if (length < 8)
            return QStringLiteral(" len=%1").arg(length);
        const uint32_t count = qFromBigEndian<quint32>(body + 4);
        if (count > uint32_t(length - 8))
            return QStringLiteral(" locale-length=%1 len=%2").arg(count).arg(length);
        int size = int(count);
        if (size > 0 && body[8 + size - 1] == 0)
            --size;
        QString details = QStringLiteral(" locale=")
            + quoted(QString::fromUtf8(reinterpret_cast<const char*>(body + 8), size));
        if (int(count) != length - 8)
            details += QStringLiteral(" len=%1").arg(length);
        return details;
    }
    QString details;
    if (request.id == PdxUpdateResult && length >= 8)
        details = QStringLiteral(" result=%1").arg(qFromBigEndian<quint32>(body + 4));
    if (length != request.length)
        details += QStringLiteral(" len=%1").arg(length);
    return details;
}

} // namespace

DaemonSimulator::DaemonSimulator(const QByteArray& kvsName, const QByteArray& pdxName, QObject* parent)
    : QObject(parent)
    , m_kvs(QStringLiteral("kvs"), kvsName, KvsServiceId)
    , m_pdx(QStringLiteral("pdx"), pdxName, PdxServiceId)
{
    m_state.connectedTime = int32_t(std::time(nullptr));
    watch(&m_kvs);
    watch(&m_pdx);
}

bool DaemonSimulator::start()
{
    for (SimChannel* channel : {&m_kvs, &m_pdx}) {
        QString error;
        if (!channel->listen(error)) {
            Console::error(error);
            return false;
        }
        Console::log(
            QStringLiteral("%1: listening on @%2").arg(channel->label(), QString::fromUtf8(channel->name())));
    }
    return true;
}

SimChannel* DaemonSimulator::channel(const QString& label)
{
    if (label == m_kvs.label())
        return &m_kvs;
    if (label == m_pdx.label())
        return &m_pdx;
    return nullptr;
}

QString DaemonSimulator::execute(const QStringList& words)
{
    static const QHash<QString, Handler> handlers = {
        {QStringLiteral("vg"), &DaemonSimulator::setVg},
        {QStringLiteral("running"), &DaemonSimulator::setFlag},
        {QStringLiteral("update-allowed"), &DaemonSimulator::setFlag},
        {QStringLiteral("show-icon"), &DaemonSimulator::setFlag},
        {QStringLiteral("versions"), &DaemonSimulator::setVersions},
        {QStringLiteral("defs-date"), &DaemonSimulator::setDefsDate},
        {QStringLiteral("scan"), &DaemonSimulator::setScan},
        {QStringLiteral("selfmanaged"), &DaemonSimulator::setSelfManaged},
        {QStringLiteral("server"), &DaemonSimulator::setServer},
        {QStringLiteral("connected-time"), &DaemonSimulator::setConnectedTime},
        {QStringLiteral("group"), &DaemonSimulator::setText},
        {QStringLiteral("location"), &DaemonSimulator::setText},
        {QStringLiteral("policy"), &DaemonSimulator::setText},
        {QStringLiteral("group-none"), &DaemonSimulator::clearText},
        {QStringLiteral("location-none"), &DaemonSimulator::clearText},
        {QStringLiteral("policy-none"), &DaemonSimulator::clearText},
        {QStringLiteral("alert"), &DaemonSimulator::sendAlert},
        {QStringLiteral("drop"), &DaemonSimulator::controlChannels},
        {QStringLiteral("stop"), &DaemonSimulator::controlChannels},
        {QStringLiteral("listen"), &DaemonSimulator::controlChannels},
        {QStringLiteral("raw"), &DaemonSimulator::sendRaw},
        {QStringLiteral("status"), &DaemonSimulator::printStatus},
    };
    const auto handler = handlers.constFind(words.value(0));
    if (handler == handlers.constEnd())
        return QStringLiteral("unknown command %1 (see --help)").arg(quoted(words.value(0)));
    return (this->*handler.value())(words);
}

QString DaemonSimulator::setVg(const QStringList& words)
{
    if (words.size() != 2 || !parseU32(words[1], m_state.vg))
        return usage("vg N (0 disabled, 1 enabled, 2 malfunctioning, 3 not installed)");
    sendStatus();
    return {};
}

QString DaemonSimulator::setFlag(const QStringList& words)
{
    bool value = false;
    if (words.size() != 2 || !parseFlag(words[1], value))
        return usage("running|update-allowed|show-icon 0|1");
    if (words[0] == QLatin1String("running"))
        m_state.running = value;
    else if (words[0] == QLatin1String("update-allowed"))
        m_state.updateAllowed = value;
    else
        m_state.showIcon = value;
    sendStatus();
    return {};
}

QString DaemonSimulator::setVersions(const QStringList& words)
{
    if (words.size() != 4)
        return usage("versions PRODUCT ENGINE DEFINITIONS");
    m_state.productVersion = words[1];
    m_state.engineVersion = words[2];
    m_state.defsVersion = words[3];
    sendVersions();
    return {};
}

QString DaemonSimulator::setDefsDate(const QStringList& words)
{
    uint32_t day = 0;
    uint32_t month = 0;
    uint32_t year = 0;
    int32_t revision = 0;
    if (words.size() != 5 || !parseU32(words[1], day) || !parseU32(words[2], month)
        || !parseU32(words[3], year) || !parseI32(words[4], revision))
        return usage("defs-date DAY MONTH YEAR REVISION (year 0: waiting for update)");
    m_state.defsDay = day;
    m_state.defsMonth = month;
    m_state.defsYear = year;
    m_state.defsRevision = revision;
    sendVersions();
    return {};
}

QString DaemonSimulator::setScan(const QStringList& words)
{
    if (words.size() != 2 || !parseU32(words[1], m_state.scanStatus))
        return usage("scan N");
    sendScanStatus();
    return {};
}

QString DaemonSimulator::setSelfManaged(const QStringList& words)
{
    if (words.size() != 1)
        return usage("selfmanaged");
    m_state.managed = false;
    m_state.online = false;
    sendServerReport(PdxServerStatusReport);
    sendServerReport(PdxConnectedTimeReport);
    return {};
}

QString DaemonSimulator::setServer(const QStringList& words)
{
    const QString mode = words.value(1);
    int32_t time = 0;
    if (mode == QLatin1String("online") && (words.size() == 3 || words.size() == 4)
        && parseTime(words.value(3, QStringLiteral("now")), time)) {
        m_state.online = true;
        m_state.server = words[2];
        m_state.connectedTime = time;
    } else if (mode == QLatin1String("offline") && words.size() == 2) {
        m_state.online = false;
    } else {
        return usage("server online ADDRESS [TIME] | server offline");
    }
    m_state.managed = true;
    sendServerReport(PdxServerStatusReport);
    sendServerReport(PdxConnectedTimeReport);
    return {};
}

QString DaemonSimulator::setConnectedTime(const QStringList& words)
{
    if (words.size() != 2 || !parseTime(words[1], m_state.connectedTime))
        return usage("connected-time TIME|now");
    sendServerReport(PdxConnectedTimeReport);
    return {};
}

QString DaemonSimulator::setText(const QStringList& words)
{
    if (words.size() < 2)
        return usage("group|location|policy TEXT...");
    const QString text = words.mid(1).join(QLatin1Char(' '));
    if (words[0] == QLatin1String("group")) {
        m_state.group = text;
        sendTextReport(PdxGroupReport);
    } else if (words[0] == QLatin1String("location")) {
        m_state.location = text;
        sendTextReport(PdxLocationReport);
    } else {
        m_state.policy = text;
        sendTextReport(PdxPolicyNumberReport);
    }
    return {};
}

QString DaemonSimulator::clearText(const QStringList& words)
{
    if (words.size() != 1)
        return usage("group-none|location-none|policy-none");
    if (words[0] == QLatin1String("group-none")) {
        m_state.group.reset();
        sendTextReport(PdxGroupReport);
    } else if (words[0] == QLatin1String("location-none")) {
        m_state.location.reset();
        sendTextReport(PdxLocationReport);
    } else {
        m_state.policy.reset();
        sendTextReport(PdxPolicyNumberReport);
    }
    return {};
}

QString DaemonSimulator::sendAlert(const QStringList& words)
{
    const char* const syntax
        = "alert TIME|now FORMAT [L=..] [E=..] [V=..] [P=..] [C=..] [S=..] [N=..] [A=..] [F=..]";
    int32_t time = 0;
    if (words.size() < 3 || !parseTime(words[1], time))
        return usage(syntax);
    QString fields[9];
    for (const QString& word : words.mid(3)) {
        const char* key = word.size() >= 2 && word.at(1) == QLatin1Char('=')
            ? std::strchr(alertKeys, word.at(0).toLatin1())
            : nullptr;
        if (!key || !*key)
            return QStringLiteral("alert: %1 is not one of L= E= V= P= C= S= N= A= F=").arg(quoted(word));
        fields[key - alertKeys] = word.mid(2);
    }
    BodyWriter body(KvsAlert);
    body.i32(time);
    for (const QString& field : fields)
        body.text(field.toUtf8());
    body.text(words[2].toUtf8());
    transmit(&m_kvs, body.body(),
             QStringLiteral("KvsAlert time=%1 format=%2").arg(time).arg(quoted(words[2])));
    return {};
}

QString DaemonSimulator::controlChannels(const QStringList& words)
{
    const QString target = words.value(1);
    QList<SimChannel*> targets;
    if (target == QLatin1String("all"))
        targets = {&m_kvs, &m_pdx};
    else if (SimChannel* one = channel(target))
        targets = {one};
    if (words.size() != 2 || targets.isEmpty())
        return usage("drop|stop|listen kvs|pdx|all");
    for (SimChannel* channel : targets) {
        if (words[0] == QLatin1String("drop")) {
            channel->drop();
        } else if (words[0] == QLatin1String("stop")) {
            const bool wasListening = channel->isListening();
            channel->stopListening();
            if (wasListening)
                Console::log(QStringLiteral("%1: stopped listening").arg(channel->label()));
        } else if (!channel->isListening()) {
            QString error;
            if (!channel->listen(error))
                return error;
            Console::log(QStringLiteral("%1: listening on @%2")
                             .arg(channel->label(), QString::fromUtf8(channel->name())));
        }
    }
    return {};
}

QString DaemonSimulator::sendRaw(const QStringList& words)
{
    SimChannel* target = channel(words.value(1));
    if (words.size() < 3 || !target)
        return usage("raw kvs|pdx HEX");
    QByteArray hex;
    for (const QString& word : words.mid(2))
        hex += word.toLatin1();
    for (const char c : hex) {
        if (!std::isxdigit(static_cast<unsigned char>(c)))
            return QStringLiteral("raw: %1 is not a hex digit").arg(QLatin1Char(c));
    }
    if (hex.size() % 2 != 0)
        return QStringLiteral("raw: odd number of hex digits");
    if (!target->sendRaw(QByteArray::fromHex(hex)))
        return QStringLiteral("%1: no client connected").arg(target->label());
    return {};
}

QString DaemonSimulator::printStatus(const QStringList& words)
{
    if (words.size() != 1)
        return usage("status");
    for (const SimChannel* channel : {&m_kvs, &m_pdx}) {
        Console::print(
            QStringLiteral("# %1: @%2 %3, %4")
                .arg(channel->label(), QString::fromUtf8(channel->name()),
                     channel->isListening() ? QStringLiteral("listening") : QStringLiteral("not listening"),
                     channel->isConnected() ? QStringLiteral("client connected")
                                            : QStringLiteral("no client")));
    }
    Console::print(QStringLiteral("vg %1").arg(m_state.vg));
    Console::print(QStringLiteral("running %1").arg(int(m_state.running)));
    Console::print(QStringLiteral("update-allowed %1").arg(int(m_state.updateAllowed)));
    Console::print(QStringLiteral("show-icon %1").arg(int(m_state.showIcon)));
    Console::print(QStringLiteral("versions %1 %2 %3")
                       .arg(CommandLine::quote(m_state.productVersion),
                            CommandLine::quote(m_state.engineVersion),
                            CommandLine::quote(m_state.defsVersion)));
    Console::print(QStringLiteral("defs-date %1 %2 %3 %4")
                       .arg(m_state.defsDay)
                       .arg(m_state.defsMonth)
                       .arg(m_state.defsYear)
                       .arg(m_state.defsRevision));
    Console::print(QStringLiteral("scan %1").arg(m_state.scanStatus));
    const QString server
        = CommandLine::quote(m_state.server) + QLatin1Char(' ') + QString::number(m_state.connectedTime);
    if (!m_state.managed)
        Console::print(QStringLiteral("selfmanaged # last server ") + server);
    else if (!m_state.online)
        Console::print(QStringLiteral("server offline # last server ") + server);
    else
        Console::print(QStringLiteral("server online ") + server);
    const std::pair<const char*, const std::optional<QString>*> texts[]
        = {{"group", &m_state.group}, {"location", &m_state.location}, {"policy", &m_state.policy}};
    for (const auto& [name, text] : texts) {
        if (*text)
            Console::print(QLatin1String(name) + QLatin1Char(' ') + CommandLine::quote(**text));
        else
            Console::print(QLatin1String(name) + QStringLiteral("-none"));
    }
    return {};
}

void DaemonSimulator::watch(SimChannel* channel)
{
    connect(channel, &SimChannel::connected, this, [this, channel] {
        Console::log(channel->label() + QStringLiteral(": connected"));
        emit connectionChanged();
    });
    connect(channel, &SimChannel::disconnected, this, [this, channel] {
        Console::log(channel->label() + QStringLiteral(": disconnected"));
        emit connectionChanged();
    });
    connect(channel, &SimChannel::protocolError, this, &Console::error);
    connect(channel, &SimChannel::frameReceived, this,
            [this, channel](const Message& message) { handleFrame(channel, message); });
}

void DaemonSimulator::handleFrame(SimChannel* channel, const Message& message)
{
    QString line = QStringLiteral("%1 <- seq=%2 ").arg(channel->label()).arg(message.sequence);
    const uint32_t id = message.length >= 4 ? qFromBigEndian<quint32>(message.data) : 0;
    const Request* request = message.length >= 4 ? findRequest(channel->serviceId(), id) : nullptr;
    if (request)
        line += QLatin1String(request->name) + requestDetails(*request, message.data, message.length);
    else if (message.length >= 4)
        line += QStringLiteral("id=%1 len=%2").arg(id).arg(message.length);
    else
        line += QStringLiteral("len=%1").arg(message.length);
    // Header fields the tray should never set are shown, so a test can catch them.
    if (message.serviceId != channel->serviceId())
        line += QStringLiteral(" service=%1").arg(message.serviceId);
    if (message.reserved != 0 || message.serviceWord != 0 || message.param != 0)
        line += QStringLiteral(" reserved=%1 word=%2 param=%3")
                    .arg(message.reserved)
                    .arg(message.serviceWord)
                    .arg(message.param);
    Console::log(line);
    if (!request)
        return;
    switch (request->id) {
    case KvsStatusRequest:
        sendStatus();
        break;
    case KvsVersionsRequest:
        sendVersions();
        break;
    case KvsScanStatusRequest:
        sendScanStatus();
        break;
    case PdxPolicyNumberRequest:
    case PdxGroupRequest:
    case PdxLocationRequest:
        sendTextReport(request->id + 1);
        break;
    case PdxServerStatusRequest:
    case PdxConnectedTimeRequest:
        sendServerReport(request->id + 1);
        break;
    default:
        break;
    }
}

void DaemonSimulator::transmit(SimChannel* channel, const QByteArray& body, const QString& description)
{
    const int sequence = channel->send(body);
    if (sequence != 0 && Console::verbose())
        Console::log(QStringLiteral("%1 -> seq=%2 %3").arg(channel->label()).arg(sequence).arg(description));
}

void DaemonSimulator::sendStatus()
{
    BodyWriter body(KvsStatusReport);
    body.u32(m_state.vg).u32(m_state.running).u32(m_state.updateAllowed).u32(m_state.showIcon);
    transmit(&m_kvs, body.body(),
             QStringLiteral("KvsStatusReport vg=%1 running=%2 update-allowed=%3 show-icon=%4")
                 .arg(m_state.vg)
                 .arg(int(m_state.running))
                 .arg(int(m_state.updateAllowed))
                 .arg(int(m_state.showIcon)));
}

void DaemonSimulator::sendVersions()
{
    BodyWriter body(KvsVersionsReport);
    body.text(m_state.productVersion.toUtf8())
        .text(m_state.engineVersion.toUtf8())
        .text(m_state.defsVersion.toUtf8());
    body.u32(m_state.defsDay).u32(m_state.defsMonth).u32(m_state.defsYear).i32(m_state.defsRevision);
    transmit(&m_kvs, body.body(),
             QStringLiteral("KvsVersionsReport product=%1 engine=%2 defs=%3 date=%4-%5-%6 rev=%7")
                 .arg(quoted(m_state.productVersion), quoted(m_state.engineVersion),
                      quoted(m_state.defsVersion), QString::number(m_state.defsYear),
                      QString::number(m_state.defsMonth), QString::number(m_state.defsDay),
                      QString::number(m_state.defsRevision)));
}

void DaemonSimulator::sendScanStatus()
{
    BodyWriter body(KvsScanStatusReport);
    body.u32(m_state.scanStatus);
    transmit(&m_kvs, body.body(), QStringLiteral("KvsScanStatusReport status=%1").arg(m_state.scanStatus));
}

void DaemonSimulator::sendTextReport(uint32_t id)
{
    const std::optional<QString>* text = &m_state.group;
    const char* name = "PdxGroupReport";
    if (id == PdxLocationReport) {
        text = &m_state.location;
        name = "PdxLocationReport";
    } else if (id == PdxPolicyNumberReport) {
        text = &m_state.policy;
        name = "PdxPolicyNumberReport";
    }
    QByteArray bytes = text->value_or(QString()).toUtf8();
    // Only the policy number is counted with a terminating zero; the tray drops its last byte.
    if (*text && id == PdxPolicyNumberReport)
        bytes.append('\0');
    BodyWriter body(id);
    body.u32(text->has_value()).i32(int32_t(bytes.size())).bytes(bytes);
    transmit(
        &m_pdx, body.body(),
        QLatin1String(name)
            + (*text ? QStringLiteral(" present=1 text=") + quoted(**text) : QStringLiteral(" present=0")));
}

void DaemonSimulator::sendServerReport(uint32_t id)
{
    const QByteArray server = m_state.server.toUtf8();
    BodyWriter body(id);
    body.u32(m_state.managed)
        .u32(m_state.online)
        .i32(m_state.connectedTime)
        .i32(int32_t(server.size()))
        .bytes(server);
    transmit(&m_pdx, body.body(),
             QStringLiteral("%1 managed=%2 online=%3 time=%4 server=%5")
                 .arg(QLatin1String(id == PdxServerStatusReport ? "PdxServerStatusReport"
                                                                : "PdxConnectedTimeReport"))
                 .arg(int(m_state.managed))
                 .arg(int(m_state.online))
                 .arg(m_state.connectedTime)
                 .arg(quoted(m_state.server)));
}
