#include "StatusTexts.h"

#include <QLocale>

QString StatusTexts::scanner(ScannerState state)
{
    switch (state) {
    case ScannerState::Disabled:
        return tr("Disabled", "VGStatus");
    case ScannerState::Enabled:
        return tr("Enabled", "VGStatus");
    case ScannerState::NotInstalled:
        return tr("Not Installed", "VGStatus");
    case ScannerState::Malfunctioning:
        break;
    }
    return tr("Malfunctioning", "VGStatus");
}

QString StatusTexts::scan(int code)
{
    switch (code) {
    case 1:
        return tr("Starting", "ScanStatus");
    case 2:
        return tr("Started", "ScanStatus");
    case 3:
        return tr("Stopping", "ScanStatus");
    case 4:
        return tr("Done", "ScanStatus");
    case 5:
        return tr("Scanning directories", "ScanStatus");
    case 6:
        return tr("Scanning boot sector", "ScanStatus");
    case 7:
        return tr("Scanning memory", "ScanStatus");
    case 8:
        return tr("Scanning files", "ScanStatus");
    case 9: // never run: as far as the user is concerned, nothing is going on
        return tr("Done", "ScanStatus");
    case 10:
        return tr("Aborted", "ScanStatus");
    case 11:
        return tr("Queued", "ScanStatus");
    case 12:
        return tr("Delayed", "ScanStatus");
    case 13:
        return tr("Scanning proccesses", "ScanStatus");
    case 16:
        return tr("Suspended", "ScanStatus");
    case 17:
        return tr("Resumed", "ScanStatus");
    default:
        return tr("Unknown status", "ScanStatus");
    }
}

QString StatusTexts::definitions(const DefinitionsRelease& release)
{
    if (release.pending)
        return QCoreApplication::translate("DefsFormat", "Waiting for update");
    // An invalid date reads as no date at all, whatever the Qt release would render for it.
    const QString date
        = release.date.isValid() ? QLocale::system().toString(release.date, QLocale::ShortFormat) : QString();
    // Both arguments at once, so a '%' in the locale's date cannot be taken for a marker.
    return QCoreApplication::translate("DefsFormat", "%1 rev. %2")
        .arg(date, QString::number(release.revision));
}

QString StatusTexts::serverAbsence(ManagementState state)
{
    return state == ManagementState::SelfManaged ? QStringLiteral("Self-managed") : QStringLiteral("Offline");
}
