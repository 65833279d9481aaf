#include "ReportEncoder.h"

#include "BodyWriter.h"
#include "Console.h"
#include "DaemonState.h"
#include "messaging/MessageIds.h"

namespace {

using Report = ReportEncoder::Report;

Report status(const DaemonState& state)
{
    BodyWriter body(KvsStatusReport);
    body.u32(state.vg).u32(state.running).u32(state.updateAllowed).u32(state.showIcon);
    return {Daemon::Kvs, body.body(),
            QStringLiteral("KvsStatusReport vg=%1 running=%2 update-allowed=%3 show-icon=%4")
                .arg(state.vg)
                .arg(int(state.running))
                .arg(int(state.updateAllowed))
                .arg(int(state.showIcon))};
}

Report versions(const DaemonState& state)
{
    BodyWriter body(KvsVersionsReport);
    body.text(state.productVersion.toUtf8())
        .text(state.engineVersion.toUtf8())
        .text(state.defsVersion.toUtf8());
    body.u32(state.defsDay).u32(state.defsMonth).u32(state.defsYear).i32(state.defsRevision);
    return {Daemon::Kvs, body.body(),
            QStringLiteral("KvsVersionsReport product=%1 engine=%2 defs=%3 date=%4-%5-%6 rev=%7")
                .arg(Console::quoted(state.productVersion), Console::quoted(state.engineVersion),
                     Console::quoted(state.defsVersion), QString::number(state.defsYear),
                     QString::number(state.defsMonth), QString::number(state.defsDay),
                     QString::number(state.defsRevision))};
}

Report scanStatus(const DaemonState& state)
{
    BodyWriter body(KvsScanStatusReport);
    body.u32(state.scanStatus);
    return {Daemon::Kvs, body.body(), QStringLiteral("KvsScanStatusReport status=%1").arg(state.scanStatus)};
}

// The policy number, group or location report.
Report text(uint32_t id, const char* name, const std::optional<QString>& text)
{
    QByteArray bytes = text.value_or(QString()).toUtf8();
    // Only the policy number is counted with a terminating zero; the tray drops its last byte.
    if (text && id == PdxPolicyNumberReport)
        bytes.append('\0');
    BodyWriter body(id);
    body.u32(text.has_value()).i32(int32_t(bytes.size())).bytes(bytes);
    return {Daemon::Pdx, body.body(),
            QLatin1String(name)
                + (text ? QStringLiteral(" present=1 text=") + Console::quoted(*text)
                        : QStringLiteral(" present=0"))};
}

// The server status or connected time report; both carry the same record.
Report server(uint32_t id, const char* name, const DaemonState& state)
{
    const QByteArray server = state.server.toUtf8();
    BodyWriter body(id);
    body.u32(state.managed)
        .u32(state.online)
        .i32(state.connectedTime)
        .i32(int32_t(server.size()))
        .bytes(server);
    return {Daemon::Pdx, body.body(),
            QStringLiteral("%1 managed=%2 online=%3 time=%4 server=%5")
                .arg(QLatin1String(name))
                .arg(int(state.managed))
                .arg(int(state.online))
                .arg(state.connectedTime)
                .arg(Console::quoted(state.server))};
}

} // namespace

std::optional<Report> ReportEncoder::encode(uint32_t id, const DaemonState& state)
{
    switch (id) {
    case KvsStatusReport:
        return status(state);
    case KvsVersionsReport:
        return versions(state);
    case KvsScanStatusReport:
        return scanStatus(state);
    case PdxPolicyNumberReport:
        return text(id, "PdxPolicyNumberReport", state.policy);
    case PdxGroupReport:
        return text(id, "PdxGroupReport", state.group);
    case PdxLocationReport:
        return text(id, "PdxLocationReport", state.location);
    case PdxServerStatusReport:
        return server(id, "PdxServerStatusReport", state);
    case PdxConnectedTimeReport:
        return server(id, "PdxConnectedTimeReport", state);
    default:
        return std::nullopt;
    }
}

Report ReportEncoder::alert(int32_t time, const AlertFields& fields, const QString& format)
{
    BodyWriter body(KvsAlert);
    body.i32(time);
    for (const QString& field : fields)
        body.text(field.toUtf8());
    body.text(format.toUtf8());
    return {Daemon::Kvs, body.body(),
            QStringLiteral("KvsAlert time=%1 format=%2").arg(time).arg(Console::quoted(format))};
}
