#include "DaemonSimulator.h"

#include "Console.h"
#include "RequestLogger.h"

#include <ctime>

DaemonSimulator::DaemonSimulator(const QByteArray& kvsName, const QByteArray& pdxName, QObject* parent)
    : QObject(parent)
    , m_kvs(QStringLiteral("kvs"), kvsName, int(Daemon::Kvs))
    , m_pdx(QStringLiteral("pdx"), pdxName, int(Daemon::Pdx))
{
    m_state.connectedTime = int32_t(std::time(nullptr));
    watch(&m_kvs);
    watch(&m_pdx);
}

bool DaemonSimulator::start()
{
    for (SimChannel* channel : channels()) {
        QString error;
        if (!channel->listen(error)) {
            Console::error(error);
            return false;
        }
    }
    return true;
}

SimChannel* DaemonSimulator::channel(const QString& label)
{
    for (SimChannel* channel : channels()) {
        if (label == channel->label())
            return channel;
    }
    return nullptr;
}

void DaemonSimulator::push(uint32_t id)
{
    if (const auto report = ReportEncoder::encode(id, m_state))
        send(*report);
}

void DaemonSimulator::send(const ReportEncoder::Report& report)
{
    SimChannel& channel = report.sender == Daemon::Kvs ? m_kvs : m_pdx;
    const int sequence = channel.send(report.body);
    if (sequence != 0 && Console::verbose())
        Console::log(
            QStringLiteral("%1 -> seq=%2 %3").arg(channel.label()).arg(sequence).arg(report.description));
}

void DaemonSimulator::watch(SimChannel* channel)
{
    connect(channel, &SimChannel::listening, this, [channel] {
        Console::log(
            QStringLiteral("%1: listening on @%2").arg(channel->label(), QString::fromUtf8(channel->name())));
    });
    connect(channel, &SimChannel::stoppedListening, this,
            [channel] { Console::log(QStringLiteral("%1: stopped listening").arg(channel->label())); });
    connect(channel, &SimChannel::connected, this, [this, channel] {
        Console::log(channel->label() + QStringLiteral(": connected"));
        emit connectionChanged();
    });
    connect(channel, &SimChannel::disconnected, this, [this, channel] {
        Console::log(channel->label() + QStringLiteral(": disconnected"));
        emit connectionChanged();
    });
    connect(channel, &SimChannel::protocolError, this, &Console::error);
    connect(channel, &SimChannel::frameReceived, this,
            [this, channel](const Message& message) { answer(*channel, message); });
}

void DaemonSimulator::answer(const SimChannel& channel, const Message& message)
{
    // Each request that asks for a report has the report's id less one; the others get no answer.
    if (const uint32_t request = RequestLogger::log(channel, message))
        push(request + 1);
}
