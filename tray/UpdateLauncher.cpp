#include "UpdateLauncher.h"

#include "InstallConfig.h"
#include "Logging.h"
#include "ToolProcess.h"

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
        qCWarning(lcUpdateTool, "did not start the update tool: %s", refusal.constData());
        abandonStart();
        return;
    }
    connect(m_process, &ToolProcess::finished, this, &UpdateLauncher::ended);
    if (!m_process->start(tool, path)) {
        qCWarning(lcUpdateTool, "could not start the update tool");
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
    qCInfo(lcUpdateTool, success ? "the update tool succeeded" : "the update tool failed");
    dropProcess();
    emit runningChanged(false);
    // The button comes back only once the user has seen the warning.
    if (!success)
        emit runFailed();
    emit availabilityChanged(canLaunch());
    emit finished(success);
}
