#pragma once

#include <QObject>
#include <QPointer>
#include <QString>
#include <QVector>

#include <functional>

class QDBusPendingCallWatcher;

// One notification as this program sends it: critical, tied to the program's menu entry, with
// the actions "default" and "Details".
struct Notification
{
    QString summary;
    // Plain text: it is escaped for servers that read markup.
    QString body;
    // A category of the program's own, x-wardlet.something.
    QString category;
    // The notification this one replaces, 0 for a new one.
    uint replacesId = 0;
};

// The desktop's notification server (org.freedesktop.Notifications on the session bus), as
// this program uses it. Nothing depends on there being one: a notification no server takes is
// dropped with one log line, and the next one asks the bus again.
class NotificationServer final : public QObject
{
    Q_OBJECT

public:
    // The user's settings may turn notifications off; then nothing is ever sent.
    explicit NotificationServer(QObject* parent = nullptr);

    bool isEnabled() const { return m_enabled; }
    // Shows or replaces a notification; shown gets the id the server gave it, 0 when no server
    // took it. It is called in receiver's context, and not at all once receiver is gone.
    void notify(const Notification& notification, QObject* receiver, std::function<void(uint id)> shown);
    void close(uint id);

signals:
    // The user chose the notification's default action or "Details". The token, where the
    // server sent one, lets the window that opens take the focus.
    void actionInvoked(uint id, const QByteArray& activationToken);
    // Expired, dismissed, or closed by this program.
    void closed(uint id);

private slots:
    // The server's signals; QtDBus connects signals by slot name only.
    void serverInvokedAction(uint id, const QString& action);
    void serverClosedNotification(uint id, uint reason);
    void serverSentActivationToken(uint id, const QString& token);

private:
    struct Waiting
    {
        Notification notification;
        QPointer<QObject> receiver;
        std::function<void(uint id)> shown;
    };

    void askCapabilities();
    void capabilitiesAnswered(QDBusPendingCallWatcher* call);
    void send(const Waiting& waiting);
    void reportMissing(const QString& errorName);

    const bool m_enabled;
    enum class Capabilities
    {
        Unknown,
        Asked,
        Known,
    } m_capabilities
        = Capabilities::Unknown;
    // The server shows the body as markup, so it is escaped.
    bool m_bodyMarkup = false;
    QVector<Waiting> m_waiting;
    bool m_loggedMissing = false;
    // The server sends the token just before the action it belongs to.
    uint m_tokenId = 0;
    QByteArray m_token;
};
