#pragma once

// Real-time scanner state, as the scan daemon reports it.
enum VGEnabledStatus : int
{
    VGDisabled = 0,
    VGEnabled = 1,
    VGMalfunctioning = 2,
    VGNotInstalled = 3,
};

// Management client state, as the management client reports it.
enum enumProtectionState : int
{
    ProtectionUnknown = 0,
    ProtectionSelfManaged = 1,
    ProtectionOnline = 2,
    ProtectionDisabled = 3,
    ProtectionOffline = 4,
};
