#pragma once

#include "messaging/DefinitionsRelease.h"
#include "messaging/ProtectionStates.h"

#include <QCoreApplication>
#include <QString>

// The words the status window shows for what the daemons report, translated anew each time.
class StatusTexts final
{
    Q_DECLARE_TR_FUNCTIONS(WardletApp)

public:
    static QString scanner(ScannerState state);
    static QString scan(int code);
    static QString definitions(const DefinitionsRelease& release);
    // What stands in the server field when the client has no link to a server.
    static QString serverAbsence(ManagementState state);
};
