#pragma once

#include <QLoggingCategory>

// The daemon channels: connections made and lost, peers refused, frames given up on.
Q_DECLARE_LOGGING_CATEGORY(lcChannels)
