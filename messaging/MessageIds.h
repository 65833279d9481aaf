#pragma once

#include <QtGlobal>

// The first body word of every frame on both channels. The daemons' own prefixes name the
// channel: "Kvs" is the scan daemon, "Pdx" the management client. A report's id is its
// request's id plus one.
enum MessageId : quint32
{
    KvsStatusRequest = 1,
    KvsStatusReport = 2,
    KvsAlert = 3,
    KvsVersionsRequest = 4,
    KvsVersionsReport = 5,
    KvsScanStatusRequest = 6,
    KvsScanStatusReport = 7,
    KvsUpdateDone = 9,
    PdxPolicyNumberRequest = 23,
    PdxPolicyNumberReport = 24,
    PdxGroupRequest = 25,
    PdxGroupReport = 26,
    PdxLocationRequest = 27,
    PdxLocationReport = 28,
    PdxServerStatusRequest = 31,
    PdxServerStatusReport = 32,
    PdxConnectedTimeRequest = 33,
    PdxConnectedTimeReport = 34,
    PdxUpdateResult = 45,
};
