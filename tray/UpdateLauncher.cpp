#include "UpdateLauncher.h"

#include "InstallConfig.h"
#include "ToolProcess.h"

#include <syslog.h>

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
        abandonStart();
        return;
    }
    connect(m_process, &ToolProcess::finished, this, &UpdateLauncher::ended);
    if (!m_process->start(tool, path)) {
        syslog(LOG_WARNING, "could not start the update tool");
        abandonStart();
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

void UpdateLauncher::abandonStart()
{
    dropProcess();
    emit availabilityChanged(canLaunch());
    emit startFailed();
}

void UpdateLauncher::ended(bool success)
{
    dropProcess();
    emit runningChanged(false);
    // The button comes back only once the user has seen the warning.
    if (!success)
        emit runFailed();
    emit availabilityChanged(canLaunch());
    emit finished(success);
}
