#include "ProtectionNotice.h"

#include <QCoreApplication>

ProtectionNotice::ProtectionNotice(NotificationServer& server, std::function<QString()> reason, int lossDelay,
                                   QObject* parent)
    : QObject(parent)
    , m_server(server)
    , m_reason(std::move(reason))
    , m_notification(server,
                     [this]() -> Notification {
                         return {QCoreApplication::translate("WardletApp", "This computer is not protected"),
                                 m_reason(), QStringLiteral("x-wardlet.unprotected")};
                     })
    , m_lossDelay(lossDelay)
{
    m_check.setSingleShot(true);
    connect(&m_check, &QTimer::timeout, this, &ProtectionNotice::lossLasted);
    connect(&m_notification, &LiveNotification::chosen, this, &ProtectionNotice::detailsRequested);
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
    if (std::exchange(m_notified, false))
        m_notification.withdraw();
}

void ProtectionNotice::reasonChanged()
{
    if (m_notified && m_notification.isShown())
        m_notification.show();
}

void ProtectionNotice::lossLasted()
{
    if (!m_unprotected || m_notified)
        return;
    const qint64 left = m_lossDelay - m_lostAt.elapsed();
    if (left > 0) {
        m_check.start(int(left));
        return;
    }
    m_notified = true;
    m_notification.show();
}
