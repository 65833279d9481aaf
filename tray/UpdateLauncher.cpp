#include "UpdateLauncher.h"

#include "InstallConfig.h"

#include <QCoreApplication>
#include <QMessageBox>
#include <QProcess>

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
    const QByteArray tool = InstallConfig::updateTool(InstallConfig::configPath().constData());
    m_process = new QProcess(this);
    emit availabilityChanged(false);
    if (tool.isEmpty()) {
        failedToStart();
        return;
    }
    connect(m_process, &QProcess::started, this, &UpdateLauncher::started);
    connect(m_process, &QProcess::errorOccurred, this, [this](QProcess::ProcessError error) {
        // A crash is reported by finished() as well.
        if (error == QProcess::FailedToStart)
            failedToStart();
    });
    connect(m_process, qOverload<int, QProcess::ExitStatus>(&QProcess::finished), this,
            [this](int exitCode, QProcess::ExitStatus status) { ended(exitCode, status); });
    m_process->start(QString::fromLatin1(tool), QStringList(), QIODevice::ReadWrite);
}

void UpdateLauncher::dropProcess()
{
    m_process->disconnect(this);
    m_process->deleteLater();
    m_process = nullptr;
}

void UpdateLauncher::started()
{
    emit runningChanged(true);
}

void UpdateLauncher::failedToStart()
{
    dropProcess();
    emit availabilityChanged(canLaunch());
    warn(QT_TRANSLATE_NOOP("QMessageBox", "Failed to launch Novarel"));
}

void UpdateLauncher::ended(int exitCode, int exitStatus)
{
    dropProcess();
    const bool success = exitStatus == QProcess::NormalExit && exitCode == 0;
    emit runningChanged(false);
    // The button comes back only once the user has seen the warning.
    if (!success)
        warn(QT_TRANSLATE_NOOP("QMessageBox", "Novarel failed"));
    emit availabilityChanged(canLaunch());
    emit finished(success);
}
