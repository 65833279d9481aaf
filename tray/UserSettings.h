#pragma once

#include <QSettings>

// The user's choices: ~/.config/trevanta.example/wardlet.conf, group "Wardlet".
inline QSettings userSettings()
{
    return QSettings(QSettings::UserScope, QStringLiteral("trevanta.example"), QStringLiteral("wardlet"));
}
