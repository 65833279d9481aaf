#pragma once

#include <QLoggingCategory>

// How runs of the update tool started and ended.
Q_DECLARE_LOGGING_CATEGORY(lcUpdateTool)
// Whether a notification area is there for the icon.
Q_DECLARE_LOGGING_CATEGORY(lcTray)
// Whether a notification server answers on the session bus.
Q_DECLARE_LOGGING_CATEGORY(lcNotifications)
