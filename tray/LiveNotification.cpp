#include "LiveNotification.h"

LiveNotification::LiveNotification(NotificationServer& server, std::function<Notification()> content,
                                   QObject* parent)
    : QObject(parent)
    , m_server(server)
    , m_content(std::move(content))
{
    m_pace.setSingleShot(true);
    m_pace.setInterval(UpdateInterval);
    connect(&m_pace, &QTimer::timeout, this, [this] {
        if (m_outdated)
            send();
    });
    connect(&server, &NotificationServer::actionInvoked, this, [this](uint id, const QByteArray& token) {
        if (id != 0 && id == m_id)
            emit chosen(token);
    });
    connect(&server, &NotificationServer::closed, this, &LiveNotification::closedByServer);
}

void LiveNotification::show()
{
    if (!m_server.isEnabled())
        return;
    if (m_sending || m_pace.isActive())
        m_outdated = true;
    else
        send();
}

void LiveNotification::withdraw()
{
    m_server.close(m_id);
    m_withdrawnId = m_id;
    m_id = 0;
    m_outdated = false;
    m_pace.stop();
    m_withdrawn = m_sending;
}

void LiveNotification::send()
{
    Notification notification = m_content();
    notification.replacesId = m_id;
    m_sending = true;
    m_outdated = false;
    m_server.notify(notification, this, [this](uint id) { sent(id); });
}

void LiveNotification::sent(uint id)
{
    m_sending = false;
    if (std::exchange(m_withdrawn, false)) {
        if (id != m_withdrawnId)
            m_server.close(id);
        // Asked for after the withdrawal: a new notification.
        if (m_outdated)
            send();
        return;
    }
    m_id = id;
    if (id == 0) {
        m_outdated = false;
        emit gone();
        return;
    }
    m_pace.start();
}

void LiveNotification::closedByServer(uint id)
{
    // A notification being replaced comes back with the replacement.
    if (id == 0 || id != m_id || m_sending)
        return;
    m_id = 0;
    m_outdated = false;
    m_pace.stop();
    emit gone();
}
