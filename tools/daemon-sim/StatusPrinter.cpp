#include "StatusPrinter.h"

#include "CommandLine.h"
#include "Console.h"
#include "DaemonState.h"
#include "SimChannel.h"

#include <QString>

#include <optional>
#include <utility>

void StatusPrinter::print(const QList<SimChannel*>& channels, const DaemonState& state)
{
    for (const SimChannel* channel : channels) {
        Console::print(
            QStringLiteral("# %1: @%2 %3, %4")
                .arg(channel->label(), QString::fromUtf8(channel->name()),
                     channel->isListening() ? QStringLiteral("listening") : QStringLiteral("not listening"),
                     channel->isConnected() ? QStringLiteral("client connected")
                                            : QStringLiteral("no client")));
    }
    Console::print(QStringLiteral("vg %1").arg(state.vg));
    Console::print(QStringLiteral("running %1").arg(int(state.running)));
    Console::print(QStringLiteral("update-allowed %1").arg(int(state.updateAllowed)));
    Console::print(QStringLiteral("show-icon %1").arg(int(state.showIcon)));
    Console::print(QStringLiteral("versions %1 %2 %3")
                       .arg(CommandLine::quote(state.productVersion), CommandLine::quote(state.engineVersion),
                            CommandLine::quote(state.defsVersion)));
    Console::print(QStringLiteral("defs-date %1 %2 %3 %4")
                       .arg(state.defsDay)
                       .arg(state.defsMonth)
                       .arg(state.defsYear)
                       .arg(state.defsRevision));
    Console::print(QStringLiteral("scan %1").arg(state.scanStatus));
    const QString server
        = CommandLine::quote(state.server) + QLatin1Char(' ') + QString::number(state.connectedTime);
    if (!state.managed)
        Console::print(QStringLiteral("selfmanaged # last server ") + server);
    else if (!state.online)
        Console::print(QStringLiteral("server offline # last server ") + server);
    else
        Console::print(QStringLiteral("server online ") + server);
    const std::pair<const char*, const std::optional<QString>*> texts[]
        = {{"group", &state.group}, {"location", &state.location}, {"policy", &state.policy}};
    for (const auto& [name, text] : texts) {
        if (*text)
            Console::print(QLatin1String(name) + QLatin1Char(' ') + CommandLine::quote(**text));
        else
            Console::print(QLatin1String(name) + QStringLiteral("-none"));
    }
}
