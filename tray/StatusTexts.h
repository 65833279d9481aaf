#pragma once

#include "messaging/ProtectionStates.h"

#include <QCoreApplication>
#include <QString>

// The words the status window shows for the daemons' state codes, translated anew each time.
class StatusTexts final
{
    Q_DECLARE_TR_FUNCTIONS(WardletApp)

public:
    static QString scanner(ScannerState state);
    static QString scan(int code);
};
