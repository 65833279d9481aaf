#pragma once

#include <QString>
#include <QStringList>

class DaemonSimulator;

// The commands that change what the simulated daemons report and how their channels behave:
// checks a command's words, applies it and has the tray told at once.
class CommandTable final
{
public:
    explicit CommandTable(DaemonSimulator* simulator)
        : m_simulator(simulator)
    { }

    // Runs one command, the command's name first. Returns what was wrong with it, else nothing.
    QString execute(const QStringList& words);

private:
    using Handler = QString (CommandTable::*)(const QStringList& words);

    QString setVg(const QStringList& words);
    QString setFlag(const QStringList& words);
    QString setVersions(const QStringList& words);
    QString setDefsDate(const QStringList& words);
    QString setScan(const QStringList& words);
    QString setSelfManaged(const QStringList& words);
    QString setServer(const QStringList& words);
    QString setConnectedTime(const QStringList& words);
    QString setText(const QStringList& words);
    QString clearText(const QStringList& words);
    QString sendAlert(const QStringList& words);
    QString controlChannels(const QStringList& words);
    QString sendRaw(const QStringList& words);
    QString printStatus(const QStringList& words);

    DaemonSimulator* m_simulator;
};
