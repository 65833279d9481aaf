#include "CommandTable.h"

#include "Console.h"
#include "DaemonSimulator.h"
#include "messaging/MessageIds.h"
#include "StatusPrinter.h"

#include <QHash>

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <iterator>
#include <optional>

namespace {

struct TextCommand
{
    // The command that sets the text; with "-none" appended, the one that clears it.
    const char* name;
    std::optional<QString> DaemonState::*text;
    uint32_t report;
};

const TextCommand textCommands[] = {
    {"group", &DaemonState::group, PdxGroupReport},
    {"location", &DaemonState::location, PdxLocationReport},
    {"policy", &DaemonState::policy, PdxPolicyNumberReport},
};

// The entry of a group, location or policy command, with or without "-none".
const TextCommand& textCommand(const QString& word)
{
    return *std::find_if(
        std::begin(textCommands), std::end(textCommands),
        [&word](const TextCommand& command) { return word.startsWith(QLatin1String(command.name)); });
}

QString usage(const char* text)
{
    return QStringLiteral("usage: ") + QLatin1String(text);
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

} // namespace

QString CommandTable::execute(const QStringList& words)
{
    static const QHash<QString, Handler> handlers = {
        {QStringLiteral("vg"), &CommandTable::setVg},
        {QStringLiteral("running"), &CommandTable::setFlag},
        {QStringLiteral("update-allowed"), &CommandTable::setFlag},
        {QStringLiteral("show-icon"), &CommandTable::setFlag},
        {QStringLiteral("versions"), &CommandTable::setVersions},
        {QStringLiteral("defs-date"), &CommandTable::setDefsDate},
        {QStringLiteral("scan"), &CommandTable::setScan},
        {QStringLiteral("selfmanaged"), &CommandTable::setSelfManaged},
        {QStringLiteral("server"), &CommandTable::setServer},
        {QStringLiteral("connected-time"), &CommandTable::setConnectedTime},
        {QStringLiteral("group"), &CommandTable::setText},
        {QStringLiteral("location"), &CommandTable::setText},
        {QStringLiteral("policy"), &CommandTable::setText},
        {QStringLiteral("group-none"), &CommandTable::clearText},
        {QStringLiteral("location-none"), &CommandTable::clearText},
        {QStringLiteral("policy-none"), &CommandTable::clearText},
        {QStringLiteral("alert"), &CommandTable::sendAlert},
        {QStringLiteral("drop"), &CommandTable::controlChannels},
        {QStringLiteral("stop"), &CommandTable::controlChannels},
        {QStringLiteral("listen"), &CommandTable::controlChannels},
        {QStringLiteral("raw"), &CommandTable::sendRaw},
        {QStringLiteral("status"), &CommandTable::printStatus},
    };
    const auto handler = handlers.constFind(words.value(0));
    if (handler == handlers.constEnd())
        return QStringLiteral("unknown command %1 (see --help)").arg(Console::quoted(words.value(0)));
    return (this->*handler.value())(words);
}

QString CommandTable::setVg(const QStringList& words)
{
    if (words.size() != 2 || !parseU32(words[1], m_simulator->state().vg))
        return usage("vg N (0 disabled, 1 enabled, 2 malfunctioning, 3 not installed)");
    m_simulator->push(KvsStatusReport);
    return {};
}

QString CommandTable::setFlag(const QStringList& words)
{
    bool value = false;
    if (words.size() != 2 || !parseFlag(words[1], value))
        return usage("running|update-allowed|show-icon 0|1");
    DaemonState& state = m_simulator->state();
    if (words[0] == QLatin1String("running"))
        state.running = value;
    else if (words[0] == QLatin1String("update-allowed"))
        state.updateAllowed = value;
    else
        state.showIcon = value;
    m_simulator->push(KvsStatusReport);
    return {};
}

QString CommandTable::setVersions(const QStringList& words)
{
    if (words.size() != 4)
        return usage("versions PRODUCT ENGINE DEFINITIONS");
    DaemonState& state = m_simulator->state();
    state.productVersion = words[1];
    state.engineVersion = words[2];
    state.defsVersion = words[3];
    m_simulator->push(KvsVersionsReport);
    return {};
}

QString CommandTable::setDefsDate(const QStringList& words)
{
    // Changed on a copy, so that a bad word leaves all four as they were.
    DaemonState state = m_simulator->state();
    if (words.size() != 5 || !parseU32(words[1], state.defsDay) || !parseU32(words[2], state.defsMonth)
        || !parseU32(words[3], state.defsYear) || !parseI32(words[4], state.defsRevision))
        return usage("defs-date DAY MONTH YEAR REVISION (year 0: waiting for update)");
    m_simulator->state() = state;
    m_simulator->push(KvsVersionsReport);
    return {};
}

QString CommandTable::setScan(const QStringList& words)
{
    if (words.size() != 2 || !parseU32(words[1], m_simulator->state().scanStatus))
        return usage("scan N");
    m_simulator->push(KvsScanStatusReport);
    return {};
}

QString CommandTable::setSelfManaged(const QStringList& words)
{
    if (words.size() != 1)
        return usage("selfmanaged");
    m_simulator->state().managed = false;
    m_simulator->state().online = false;
    m_simulator->push(PdxServerStatusReport);
    m_simulator->push(PdxConnectedTimeReport);
    return {};
}

QString CommandTable::setServer(const QStringList& words)
{
    DaemonState& state = m_simulator->state();
    const QString mode = words.value(1);
    int32_t time = 0;
    if (mode == QLatin1String("online") && (words.size() == 3 || words.size() == 4)
        && parseTime(words.value(3, QStringLiteral("now")), time)) {
        state.online = true;
        state.server = words[2];
        state.connectedTime = time;
    } else if (mode == QLatin1String("offline") && words.size() == 2) {
        state.online = false;
    } else {
        return usage("server online ADDRESS [TIME] | server offline");
    }
    state.managed = true;
    m_simulator->push(PdxServerStatusReport);
    m_simulator->push(PdxConnectedTimeReport);
    return {};
}

QString CommandTable::setConnectedTime(const QStringList& words)
{
    if (words.size() != 2 || !parseTime(words[1], m_simulator->state().connectedTime))
        return usage("connected-time TIME|now");
    m_simulator->push(PdxConnectedTimeReport);
    return {};
}

QString CommandTable::setText(const QStringList& words)
{
    if (words.size() < 2)
        return usage("group|location|policy TEXT...");
    const TextCommand& command = textCommand(words[0]);
    m_simulator->state().*command.text = words.mid(1).join(QLatin1Char(' '));
    m_simulator->push(command.report);
    return {};
}

QString CommandTable::clearText(const QStringList& words)
{
    if (words.size() != 1)
        return usage("group-none|location-none|policy-none");
    const TextCommand& command = textCommand(words[0]);
    (m_simulator->state().*command.text).reset();
    m_simulator->push(command.report);
    return {};
}

QString CommandTable::sendAlert(const QStringList& words)
{
    int32_t time = 0;
    if (words.size() < 3 || !parseTime(words[1], time))
        return usage("alert TIME|now FORMAT [L=..] [E=..] [V=..] [P=..] [C=..] [S=..] [N=..] [A=..] [F=..]");
    const char* const keys = ReportEncoder::AlertKeys;
    ReportEncoder::AlertFields fields;
    for (const QString& word : words.mid(3)) {
        const char* key = word.size() >= 2 && word.at(1) == QLatin1Char('=')
            ? std::strchr(keys, word.at(0).toLatin1())
            : nullptr;
        if (!key || !*key)
            return QStringLiteral("alert: %1 is not one of L= E= V= P= C= S= N= A= F=")
                .arg(Console::quoted(word));
        fields[size_t(key - keys)] = word.mid(2);
    }
    m_simulator->send(ReportEncoder::alert(time, fields, words[2]));
    return {};
}

QString CommandTable::controlChannels(const QStringList& words)
{
    const QString target = words.value(1);
    QList<SimChannel*> targets;
    if (target == QLatin1String("all"))
        targets = m_simulator->channels();
    else if (SimChannel* one = m_simulator->channel(target))
        targets = {one};
    if (words.size() != 2 || targets.isEmpty())
        return usage("drop|stop|listen kvs|pdx|all");
    for (SimChannel* channel : targets) {
        QString error;
        if (words[0] == QLatin1String("drop"))
            channel->drop();
        else if (words[0] == QLatin1String("stop"))
            channel->stopListening();
        else if (!channel->listen(error))
            return error;
    }
    return {};
}

QString CommandTable::sendRaw(const QStringList& words)
{
    SimChannel* target = m_simulator->channel(words.value(1));
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

QString CommandTable::printStatus(const QStringList& words)
{
    if (words.size() != 1)
        return usage("status");
    StatusPrinter::print(m_simulator->channels(), m_simulator->state());
    return {};
}
