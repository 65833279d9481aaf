#pragma once

#include <QMetaType>

// State of the real-time scanner ("VG" in the scan daemon's reports), as the scan daemon
// reports it. Values outside the list can arrive and are kept as they are.
enum class ScannerState : int
{
    Disabled = 0,
    Enabled = 1,
    Malfunctioning = 2,
    NotInstalled = 3,
};

// State of the management client ("PDX"), the agent that ties this computer to a central
// management server. Unknown and values above Offline are never reported, but have a picture.
enum class ManagementState : int
{
    Unknown = 0,
    SelfManaged = 1,
    Online = 2,
    Disabled = 3,
    Offline = 4,
};

Q_DECLARE_METATYPE(ScannerState)
Q_DECLARE_METATYPE(ManagementState)
