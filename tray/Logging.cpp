#include "Logging.h"

// Debug lines only when QT_LOGGING_RULES asks for them.
Q_LOGGING_CATEGORY(lcUpdateTool, "wardlet.updatetool", QtInfoMsg)
Q_LOGGING_CATEGORY(lcTray, "wardlet.tray", QtInfoMsg)
Q_LOGGING_CATEGORY(lcNotifications, "wardlet.notifications", QtInfoMsg)
