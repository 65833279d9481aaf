#pragma once

#include "messaging/Alert.h"
#include "tray/LiveNotification.h"

#include <QObject>

class NotificationServer;

// The desktop notification for the alerts of a burst: one notification, which each alert that
// comes while it is open updates with the count and the newest alert, never a stack of them.
class AlertNotice final : public QObject
{
    Q_OBJECT

public:
    explicit AlertNotice(NotificationServer& server, QObject* parent = nullptr);

    // number tells the alert apart in the viewer.
    void alertRaised(const Alert& alert, quint64 number);
    // The user has seen the alerts: the notification goes.
    void withdraw();

signals:
    // The user chose the notification: the viewer comes forward at its newest alert.
    void detailsRequested(quint64 alertNumber, const QByteArray& activationToken);

private:
    Notification content();

    LiveNotification m_notification;
    // Alerts since the notification opened.
    int m_count = 0;
    // Expanded only when it is sent: most alerts of a burst never are.
    Alert m_newest;
    quint64 m_newestNumber = 0;
    // The alert the notification shows.
    quint64 m_shownNumber = 0;
};
