#include "Logging.h"

// Debug lines only when QT_LOGGING_RULES asks for them: some come once per retry.
Q_LOGGING_CATEGORY(lcChannels, "wardlet.channels", QtInfoMsg)
