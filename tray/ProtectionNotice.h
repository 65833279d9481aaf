#pragma once

#include "tray/LiveNotification.h"

#include <QElapsedTimer>
#include <QObject>
#include <QString>
#include <QTimer>

#include <functional>

class NotificationServer;

// The desktop notification that this computer is not protected. It comes only when the loss
// has lasted LossDelay, so a daemon restarting or a start before the daemons answer tells the
// user nothing, and it goes when protection returns. There is never more than one.
class ProtectionNotice final : public QObject
{
    Q_OBJECT

public:
    static constexpr int LossDelay = 10000;

    // reason tells in words why the computer is not protected; it is asked only when needed.
    ProtectionNotice(NotificationServer& server, std::function<QString()> reason, int lossDelay = LossDelay,
                     QObject* parent = nullptr);

    // Both may come at every report of a daemon flooding the socket: they cost a flag and a
    // clock reading, and never stop or start a timer.
    void setUnprotected();
    void setProtected();
    // An open notification takes the reason of now.
    void reasonChanged();

signals:
    void detailsRequested(const QByteArray& activationToken);

private:
    void lossLasted();

    NotificationServer& m_server;
    std::function<QString()> m_reason;
    LiveNotification m_notification;
    int m_lossDelay;
    QTimer m_check;
    QElapsedTimer m_lostAt;
    bool m_unprotected = false;
    // The notification was sent for this loss: it is not sent again until protection returns,
    // even when the user dismissed it.
    bool m_notified = false;
};
