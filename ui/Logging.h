#pragma once

#include <QLoggingCategory>

// The alerts the scan daemon raised: how many are held, dropped and discarded.
Q_DECLARE_LOGGING_CATEGORY(lcAlerts)
