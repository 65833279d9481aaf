#pragma once

#include "tray/NotificationServer.h"

#include <QObject>
#include <QTimer>

#include <functional>

// One notification on the desktop's server that its owner shows, updates and withdraws without
// waiting for the server: at most one call is out at a time, an update asked for meanwhile goes
// once the answer is in, updates come UpdateInterval apart, and a notification withdrawn before
// the server named it is closed as soon as it does.
class LiveNotification final : public QObject
{
    Q_OBJECT

public:
    static constexpr int UpdateInterval = 250;

    // content gives the notification as it should read now; it is asked only when a call goes out.
    LiveNotification(NotificationServer& server, std::function<Notification()> content,
                     QObject* parent = nullptr);

    // Shows it, or updates the one shown.
    void show();
    // Closes it; the next show() opens a new one.
    void withdraw();
    // Shown, or on its way.
    bool isShown() const { return m_id != 0 || m_sending; }

signals:
    // The user chose it: its default action or "Details".
    void chosen(const QByteArray& activationToken);
    // It expired, the user dismissed it, or no server took it.
    void gone();

private:
    void send();
    void sent(uint id);
    void closedByServer(uint id);

    NotificationServer& m_server;
    std::function<Notification()> m_content;
    QTimer m_pace;
    // 0 when there is none or the server has not answered yet.
    uint m_id = 0;
    bool m_sending = false;
    // An update was asked for while a call was out or the last update was too recent.
    bool m_outdated = false;
    // Withdrawn while a call was out: what the server answers is closed at once, unless it is
    // the notification that was closed then.
    bool m_withdrawn = false;
    uint m_withdrawnId = 0;
};
