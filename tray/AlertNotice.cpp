#include "AlertNotice.h"

#include "tray/NotificationServer.h"

#include <QCoreApplication>

AlertNotice::AlertNotice(NotificationServer& server, QObject* parent)
    : QObject(parent)
    , m_server(server)
{
    m_pace.setSingleShot(true);
    m_pace.setInterval(UpdateInterval);
    connect(&m_pace, &QTimer::timeout, this, [this] {
        if (m_outdated)
            send();
    });
    connect(&server, &NotificationServer::actionInvoked, this, [this](uint id, const QByteArray& token) {
        if (id != 0 && id == m_id)
            emit detailsRequested(m_shownNumber, token);
    });
    connect(&server, &NotificationServer::closed, this, [this](uint id) {
        // A notification being replaced comes back with the replacement.
        if (id == 0 || id != m_id || m_sending)
            return;
        m_id = 0;
        m_count = 0;
    });
}

void AlertNotice::alertRaised(const Alert& alert, quint64 number)
{
    if (!m_server.isEnabled())
        return;
    ++m_count;
    m_newest = alert;
    m_newestNumber = number;
    if (m_sending || m_pace.isActive())
        m_outdated = true;
    else
        send();
}

void AlertNotice::withdraw()
{
    m_server.close(m_id);
    m_withdrawnId = m_id;
    m_id = 0;
    m_count = 0;
    m_outdated = false;
    m_pace.stop();
    m_withdrawn = m_sending;
}

void AlertNotice::send()
{
    Notification notification;
    notification.summary = m_count == 1
        ? QCoreApplication::translate("WardletApp", "Threat detected")
        : QCoreApplication::translate("WardletApp", "%n threats detected", nullptr, m_count);
    notification.body = m_newest.text();
    notification.category = QStringLiteral("x-wardlet.threat");
    notification.replacesId = m_id;
    m_shownNumber = m_newestNumber;
    m_sending = true;
    m_outdated = false;
    m_server.notify(notification, this, [this](uint id) { sent(id); });
}

void AlertNotice::sent(uint id)
{
    m_sending = false;
    if (std::exchange(m_withdrawn, false)) {
        if (id != m_withdrawnId)
            m_server.close(id);
        // Alerts that came after the withdrawal open a new notification.
        if (m_outdated)
            send();
        return;
    }
    m_id = id;
    // No server took it: the next alert tries afresh.
    if (id == 0) {
        m_count = 0;
        m_outdated = false;
        return;
    }
    m_pace.start();
}
