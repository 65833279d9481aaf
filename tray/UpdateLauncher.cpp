#include "UpdateLauncher.h"

#include "InstallConfig.h"
#include "ToolProcess.h"

#include <QCoreApplication>
#include <QMessageBox>

#include <syslog.h>

namespace {

// The warnings use the message box's own translation context.
void warn(const char* text)
{
    QMessageBox box(QMessageBox::Warning, QCoreApplication::translate("QMessageBox", "Warning", "title"),
                    QCoreApplication::translate("QMessageBox", text), QMessageBox::Ok);
    box.exec();
}

} // namespace

UpdateLauncher::UpdateLauncher(QObject* parent)
    : QObject(parent)
{ }

bool UpdateLauncher::canLaunch() const
{
    return m_allowed && !m_process;
}

void UpdateLauncher::setAllowed(bool allowed)
{
    m_allowed = allowed;
    emit availabilityChanged(canLaunch());
}

void UpdateLauncher::launch()
{
    if (!canLaunch())
        return;
    m_process = new ToolProcess(this);
    emit availabilityChanged(false);
    QByteArray path;
    QByteArray refusal;
    const int tool = InstallConfig::openUpdateTool(InstallConfig::configPath().constData(), path, refusal);
    if (tool == -1) {
        syslog(LOG_WARNING, "did not start the update tool: %s", refusal.constData());
        failedToStart();
        return;
    }
    connect(m_process, &ToolProcess::finished, this, &UpdateLauncher::ended);
    if (!m_process->start(tool, path)) {
        syslog(LOG_WARNING, "could not start the update tool");
        failedToStart();
        return;
    }
    emit runningChanged(true);
}

void UpdateLauncher::dropProcess()
{
    m_process->disconnect(this);
    m_process->deleteLater();
    m_process = nullptr;
}

void UpdateLauncher::failedToStart()
{
    dropProcess();
    emit availabilityChanged(canLaunch());
    warn(QT_TRANSLATE_NOOP("QMessageBox", "Failed to launch Novarel"));
}

void UpdateLauncher::ended(bool success)
{
    dropProcess();
    emit runningChanged(false);
    // The button comes back only once the user has seen the warning.
    if (!success)
        warn(QT_TRANSLATE_NOOP("QMessageBox", "Novarel failed"));
    emit availabilityChanged(canLaunch());
    emit finished(success);
}
