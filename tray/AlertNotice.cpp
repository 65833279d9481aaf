#include "AlertNotice.h"

#include "ui/LocalTime.h"

#include <QCoreApplication>

#include <algorithm>
#include <limits>

AlertNotice::AlertNotice(NotificationServer& server, QObject* parent)
    : QObject(parent)
    , m_notification(server, [this] { return content(); })
{
    connect(&m_notification, &LiveNotification::chosen, this,
            [this](const QByteArray& token) { emit detailsRequested(m_shownNumber, token); });
    connect(&m_notification, &LiveNotification::gone, this, [this] { m_count = 0; });
}

void AlertNotice::alertRaised(const Alert& alert, quint64 number)
{
    // A sender cannot count it past what an int holds.
    m_count = std::min(m_count + 1, std::numeric_limits<int>::max() - 1);
    m_newest = alert;
    m_newestNumber = number;
    m_notification.show();
}

void AlertNotice::withdraw()
{
    m_count = 0;
    m_notification.withdraw();
}

Notification AlertNotice::content()
{
    m_shownNumber = m_newestNumber;
    return {m_count == 1 ? QCoreApplication::translate("WardletApp", "Threat detected")
                         : QCoreApplication::translate("WardletApp", "%n threats detected", nullptr, m_count),
            m_newest.text(LocalTime::text(m_newest.time)), QStringLiteral("x-wardlet.threat")};
}
