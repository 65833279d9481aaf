#include "Logging.h"

// Debug lines only when QT_LOGGING_RULES asks for them: some come with every burst of alerts.
Q_LOGGING_CATEGORY(lcAlerts, "wardlet.alerts", QtInfoMsg)
