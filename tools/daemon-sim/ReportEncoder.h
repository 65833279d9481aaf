#pragma once

#include "Daemon.h"

#include <QByteArray>
#include <QString>

#include <array>
#include <cstdint>
#include <optional>

struct DaemonState;

// Turns what the simulated daemons report into message bodies, each with the line that
// describes it in the log of frames sent.
class ReportEncoder final
{
public:
    // The keys of an alert's fields, in the order they are sent.
    static constexpr char AlertKeys[] = "LEVPCSNAF";
    using AlertFields = std::array<QString, sizeof AlertKeys - 1>;

    struct Report
    {
        Daemon sender;
        QByteArray body;
        QString description;
    };

    // The report with that message id as the state makes it; none for an id that is not one.
    static std::optional<Report> encode(uint32_t id, const DaemonState& state);
    // An alert made of the tray's template and the fields it fills in.
    static Report alert(int32_t time, const AlertFields& fields, const QString& format);
};
