#pragma once

#include "messaging/Alert.h"

#include <QObject>
#include <QTimer>

class NotificationServer;

// The desktop notification for the alerts of a burst: one notification, which each alert that
// comes while it is open updates with the count and the newest alert, never a stack of them.
// At most one call is out to the server at a time, and updates come UpdateInterval apart, so a
// burst of thousands costs the server and the program a few.
class AlertNotice final : public QObject
{
    Q_OBJECT

public:
    static constexpr int UpdateInterval = 250;

    explicit AlertNotice(NotificationServer& server, QObject* parent = nullptr);

    // number tells the alert apart in the viewer.
    void alertRaised(const Alert& alert, quint64 number);
    // The user has seen the alerts: the notification goes.
    void withdraw();

signals:
    // The user chose the notification: the viewer comes forward at its newest alert.
    void detailsRequested(quint64 alertNumber, const QByteArray& activationToken);

private:
    void send();
    void sent(uint id);

    NotificationServer& m_server;
    QTimer m_pace;
    // The open notification; 0 when there is none or the server has not answered yet.
    uint m_id = 0;
    // Alerts since the notification opened.
    int m_count = 0;
    // Expanded only when it is sent: most alerts of a burst never are.
    Alert m_newest;
    quint64 m_newestNumber = 0;
    // The alert the notification shows.
    quint64 m_shownNumber = 0;
    bool m_sending = false;
    // Alerts came in while a call was out or the last update is too recent.
    bool m_outdated = false;
    // Withdrawn while a call was out: what the server answers is closed at once, unless it is
    // the notification that was closed then.
    bool m_withdrawn = false;
    uint m_withdrawnId = 0;
};
