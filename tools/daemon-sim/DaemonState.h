#pragma once

#include <QString>

#include <cstdint>
#include <optional>

// What the two simulated daemons currently report. The defaults are a healthy, protected
// machine managed by a server that is online.
struct DaemonState
{
    // Scan daemon.
    uint32_t vg = 1;
    bool running = true;
    bool updateAllowed = true;
    bool showIcon = true;
    QString productVersion = QStringLiteral("8.2.0");
    QString engineVersion = QStringLiteral("5.1.3");
    QString defsVersion = QStringLiteral("12.44");
    uint32_t defsDay = 14;
    uint32_t defsMonth = 3;
    uint32_t defsYear = 2026;
    int32_t defsRevision = 7;
    uint32_t scanStatus = 4;

    // Management client. An absent text is reported with its present flag cleared.
    bool managed = true;
    bool online = true;
    QString server = QStringLiteral("10.0.0.1");
    int32_t connectedTime = 0;
    std::optional<QString> group = QStringLiteral("Engineering");
    std::optional<QString> location = QStringLiteral("Head office");
    std::optional<QString> policy = QStringLiteral("PN-0042");
};
