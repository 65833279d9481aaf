#include "ChannelSupervisor.h"

#include "MessageIds.h"

#include <QtEndian>

#include <clocale>
#include <cstring>

namespace {

QByteArray words(std::initializer_list<quint32> values)
{
    QByteArray body(int(values.size()) * 4, Qt::Uninitialized);
    char* at = body.data();
    for (const quint32 value : values) {
        qToBigEndian(value, at);
        at += 4;
    }
    return body;
}

} // namespace

ChannelSupervisor::ChannelSupervisor(QObject* parent)
    : QObject(parent)
    , m_scanDaemonChannel(Channel::ScanDaemon, &m_scanDaemonService)
    , m_managementChannel(Channel::Management, &m_managementService)
{
    m_checkTimer.setSingleShot(true);
    connect(&m_checkTimer, &QTimer::timeout, this, &ChannelSupervisor::check);
    const auto watch = [this](DaemonChannel& channel, Channel which) {
        connect(&channel, &DaemonChannel::lost, this, [this, which] {
            emit channelLost(which);
            if (!m_checkTimer.isActive())
                m_checkTimer.start(RetryInterval);
        });
    };
    watch(m_scanDaemonChannel, Channel::ScanDaemon);
    watch(m_managementChannel, Channel::Management);
    connect(&m_scanDaemonChannel, &DaemonChannel::heldByStrangerChanged, this,
            [this](bool held) { emit heldByStrangerChanged(Channel::ScanDaemon, held); });
    connect(&m_managementChannel, &DaemonChannel::heldByStrangerChanged, this,
            [this](bool held) { emit heldByStrangerChanged(Channel::Management, held); });
}

bool ChannelSupervisor::isUp(Channel channel) const
{
    return channel == Channel::ScanDaemon ? m_scanDaemonChannel.isUp() : m_managementChannel.isUp();
}

void ChannelSupervisor::start()
{
    m_checkTimer.start(0);
}

void ChannelSupervisor::refreshSoon()
{
    m_checkTimer.start(RetryInterval);
}

void ChannelSupervisor::check()
{
    const bool scanDaemonUp = m_scanDaemonChannel.connectToDaemon();
    const bool managementUp = m_managementChannel.connectToDaemon();
    // A daemon that is up is asked again on every check, so its state is complete even if it
    // came up before the other one.
    sendRequests();
    if (!(scanDaemonUp && managementUp) && !m_checkTimer.isActive())
        m_checkTimer.start(RetryInterval);
}

// A daemon that reads slowly, or not at all, is not asked the same thing twice.
void ChannelSupervisor::send(DaemonChannel& channel, const QByteArray& body)
{
    if (!channel.isQueued(body))
        channel.send(m_sequence.next(), body);
}

void ChannelSupervisor::sendRequests()
{
    // The scan daemon answers in the user's language: it gets the locale with its zero byte.
    const char* locale = std::setlocale(LC_ALL, nullptr);
    if (!locale)
        return;
    if (m_scanDaemonChannel.isUp()) {
        const QByteArray name(locale, int(std::strlen(locale)) + 1);
        send(m_scanDaemonChannel, words({KvsStatusRequest, quint32(name.size())}) + name);
        send(m_scanDaemonChannel, words({KvsVersionsRequest}));
        send(m_scanDaemonChannel, words({KvsScanStatusRequest}));
    }
    if (m_managementChannel.isUp()) {
        for (const quint32 id : {PdxServerStatusRequest, PdxGroupRequest, PdxConnectedTimeRequest,
                                 PdxLocationRequest, PdxPolicyNumberRequest})
            send(m_managementChannel, words({id}));
    }
}

void ChannelSupervisor::reportUpdateResult(bool success)
{
    if (success)
        send(m_scanDaemonChannel, words({KvsUpdateDone}));
    if (m_managementChannel.isUp())
        send(m_managementChannel, words({PdxUpdateResult, success ? 0u : 1u}));
}
