#include "UpdateWarning.h"

#include <QCoreApplication>
#include <QMessageBox>

namespace {

// The warnings use the message box's own translation context.
void warn(const char* text)
{
    QMessageBox box(QMessageBox::Warning, QCoreApplication::translate("QMessageBox", "Warning", "title"),
                    QCoreApplication::translate("QMessageBox", text), QMessageBox::Ok);
    box.exec();
}

} // namespace

void UpdateWarning::startFailed()
{
    warn(QT_TRANSLATE_NOOP("QMessageBox", "Failed to launch Novarel"));
}

void UpdateWarning::runFailed()
{
    warn(QT_TRANSLATE_NOOP("QMessageBox", "Novarel failed"));
}
