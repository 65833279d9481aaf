#pragma once

#include "DaemonState.h"
#include "ReportEncoder.h"
#include "SimChannel.h"

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QString>

#include <cstdint>

class Message;

// Plays both daemons, each on its own channel: logs what the tray sends, answers its requests
// from the current state and pushes the reports a change of state asks for.
class DaemonSimulator final : public QObject
{
    Q_OBJECT

public:
    DaemonSimulator(const QByteArray& kvsName, const QByteArray& pdxName, QObject* parent = nullptr);

    // Listens on both channels; false once one of them cannot, after saying why.
    bool start();
    // Both channels, kvs first.
    QList<SimChannel*> channels() { return {&m_kvs, &m_pdx}; }
    // The channel with that label, "kvs" or "pdx"; null for anything else.
    SimChannel* channel(const QString& label);
    DaemonState& state() { return m_state; }

    // Sends the report with that message id, made from the current state.
    void push(uint32_t id);
    // Sends the report to the tray if it is connected to the report's daemon.
    void send(const ReportEncoder::Report& report);

signals:
    void connectionChanged();

private:
    void watch(SimChannel* channel);
    void answer(const SimChannel& channel, const Message& message);

    DaemonState m_state;
    SimChannel m_kvs;
    SimChannel m_pdx;
};
