#pragma once

#include <QObject>

class ToolProcess;

// Runs the suite's update tool ("NR" in the scan daemon's messages, the Novarel updater)
// when the scan daemon allows it, one run at a time, and says how each run ended. A run still
// going when the program ends goes on.
class UpdateLauncher final : public QObject
{
    Q_OBJECT

public:
    explicit UpdateLauncher(QObject* parent = nullptr);

    // The scan daemon's permission.
    void setAllowed(bool allowed);
    bool canLaunch() const;
    bool isRunning() const { return m_process != nullptr; }
    // Does nothing unless allowed and idle.
    void launch();

signals:
    // Whether a launch would start the tool now.
    void availabilityChanged(bool canLaunch);
    void runningChanged(bool running);
    // A run ended (not: failed to start).
    void finished(bool success);
    // For the user to see: connected directly, the launcher goes on once the user has.
    void startFailed();
    void runFailed();

private:
    void abandonStart();
    void ended(bool success);
    void dropProcess();

    ToolProcess* m_process = nullptr;
    bool m_allowed = false;
};
