#include "ProtectionNotice.h"

#include "tray/NotificationServer.h"

#include <QCoreApplication>

ProtectionNotice::ProtectionNotice(NotificationServer& server, std::function<QString()> reason, int lossDelay,
                                   QObject* parent)
    : QObject(parent)
    , m_server(server)
    , m_reason(std::move(reason))
    , m_lossDelay(lossDelay)
{
    m_check.setSingleShot(true);
    connect(&m_check, &QTimer::timeout, this, &ProtectionNotice::lossLasted);
    connect(&server, &NotificationServer::actionInvoked, this, [this](uint id, const QByteArray& token) {
        if (id != 0 && id == m_id)
            emit detailsRequested(token);
    });
    connect(&server, &NotificationServer::closed, this, [this](uint id) {
        if (id != 0 && id == m_id && !m_sending)
            m_id = 0;
    });
}

void ProtectionNotice::setUnprotected()
{
    if (m_unprotected || !m_server.isEnabled())
        return;
    m_unprotected = true;
    m_lostAt.start();
    // A check already due from an earlier loss looks again at this one.
    if (!m_check.isActive())
        m_check.start(m_lossDelay);
}

void ProtectionNotice::setProtected()
{
    if (!m_unprotected)
        return;
    m_unprotected = false;
    m_notified = false;
    m_outdated = false;
    m_server.close(m_id);
    m_id = 0;
}

void ProtectionNotice::reasonChanged()
{
    if (!m_notified || (m_id == 0 && !m_sending))
        return;
    if (m_sending)
        m_outdated = true;
    else
        send();
}

void ProtectionNotice::lossLasted()
{
    if (!m_unprotected || m_notified)
        return;
    const qint64 left = m_lossDelay - m_lostAt.elapsed();
    if (left > 0)
        m_check.start(int(left));
    else
        send();
}

void ProtectionNotice::send()
{
    Notification notification;
    notification.summary = QCoreApplication::translate("WardletApp", "This computer is not protected");
    notification.body = m_reason();
    notification.category = QStringLiteral("x-wardlet.unprotected");
    notification.replacesId = m_id;
    m_notified = true;
    m_sending = true;
    m_outdated = false;
    m_server.notify(notification, this, [this](uint id) { sent(id); });
}

void ProtectionNotice::sent(uint id)
{
    m_sending = false;
    // Protection returned while the server was answering.
    if (!m_notified) {
        m_server.close(id);
        return;
    }
    m_id = id;
    if (m_outdated && id != 0)
        send();
}
