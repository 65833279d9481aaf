#pragma once

#include "CommandTable.h"

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QString>

class DaemonSimulator;
class QSocketNotifier;

// Feeds command lines to the command table: a script's first, then standard input's. Runs
// the commands that pace a script itself (sleep, wait-connected, quit) without ever blocking
// the event loop, so the simulator keeps serving the tray while a script waits.
class CommandRunner final : public QObject
{
    Q_OBJECT

public:
    explicit CommandRunner(DaemonSimulator* simulator, QObject* parent = nullptr);

    // Queues a script's lines; false with a message in error when it cannot be read.
    bool loadScript(const QString& path, QString& error);
    // Follows standard input after the script; its end then finishes the run.
    void followStdin();
    // Starts on the next turn of the event loop.
    void start();

signals:
    // Quit was given, or the input ended.
    void finished();

private:
    struct Line
    {
        QString text;
        // "file:line" for script lines, empty for standard input.
        QString origin;
    };

    void readStdin();
    void run();
    void resume();
    // False when the run has to pause or has finished.
    bool runLine(const Line& line);
    void reportError(const Line& line, const QString& message);

    DaemonSimulator* m_simulator;
    CommandTable m_commands;
    QList<Line> m_pending;
    QSocketNotifier* m_stdinNotifier = nullptr;
    QByteArray m_stdinBuffer;
    bool m_followsStdin = false;
    bool m_stdinEnded = false;
    bool m_paused = false;
    bool m_finished = false;
    // The channel wait-connected waits for, empty when not waiting.
    QString m_awaitedChannel;
};
