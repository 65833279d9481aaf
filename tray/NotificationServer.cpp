#include "NotificationServer.h"

#include "tray/Logging.h"
#include "tray/UserSettings.h"
#include "ui/WindowFocus.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusServiceWatcher>
#include <QVariantMap>

namespace {

const char* const Service = "org.freedesktop.Notifications";
const char* const Path = "/org/freedesktop/Notifications";
const char* const NotificationsKey = "Wardlet/Notifications";
// Critical urgency: servers keep such a notification until the user dismisses it.
constexpr uchar CriticalUrgency = 2;

QDBusMessage call(const char* method)
{
    return QDBusMessage::createMethodCall(QLatin1String(Service), QLatin1String(Path), QLatin1String(Service),
                                          QLatin1String(method));
}

// The three characters that have a meaning in the markup servers read in a body.
QString escaped(const QString& text)
{
    QString result;
    for (const QChar c : text) {
        if (c == QLatin1Char('&'))
            result += QLatin1String("&amp;");
        else if (c == QLatin1Char('<'))
            result += QLatin1String("&lt;");
        else if (c == QLatin1Char('>'))
            result += QLatin1String("&gt;");
        else
            result += c;
    }
    return result;
}

} // namespace

NotificationServer::NotificationServer(QObject* parent)
    : QObject(parent)
    , m_enabled(userSettings().value(QLatin1String(NotificationsKey), true).toBool())
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!m_enabled || !bus.isConnected())
        return;
    // Another server may read other markup: what it can do is asked again.
    auto* serverWatcher = new QDBusServiceWatcher(QLatin1String(Service), bus,
                                                  QDBusServiceWatcher::WatchForOwnerChange, this);
    connect(serverWatcher, &QDBusServiceWatcher::serviceOwnerChanged, this, [this] {
        if (m_capabilities == Capabilities::Known)
            m_capabilities = Capabilities::Unknown;
    });
    // Given the service name, QtDBus takes these signals from its owner only.
    const QString service = QLatin1String(Service);
    const QString path = QLatin1String(Path);
    bus.connect(service, path, service, QStringLiteral("ActionInvoked"), this,
                SLOT(serverInvokedAction(uint, QString)));
    bus.connect(service, path, service, QStringLiteral("NotificationClosed"), this,
                SLOT(serverClosedNotification(uint, uint)));
    bus.connect(service, path, service, QStringLiteral("ActivationToken"), this,
                SLOT(serverSentActivationToken(uint, QString)));
}

void NotificationServer::notify(const Notification& notification, QObject* receiver,
                                std::function<void(uint id)> shown)
{
    Waiting waiting{notification, receiver, std::move(shown)};
    if (!m_enabled || !QDBusConnection::sessionBus().isConnected()) {
        waiting.shown(0);
        return;
    }
    if (m_capabilities == Capabilities::Known) {
        send(waiting);
        return;
    }
    m_waiting.append(std::move(waiting));
    if (m_capabilities == Capabilities::Unknown)
        askCapabilities();
}

void NotificationServer::close(uint id)
{
    if (!m_enabled || id == 0)
        return;
    QDBusMessage message = call("CloseNotification");
    message << id;
    QDBusConnection::sessionBus().send(message);
}

void NotificationServer::askCapabilities()
{
    m_capabilities = Capabilities::Asked;
    auto* answer
        = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(call("GetCapabilities")), this);
    connect(answer, &QDBusPendingCallWatcher::finished, this, &NotificationServer::capabilitiesAnswered);
}

void NotificationServer::capabilitiesAnswered(QDBusPendingCallWatcher* answer)
{
    answer->deleteLater();
    const QDBusPendingReply<QStringList> reply = *answer;
    const QVector<Waiting> waiting = std::exchange(m_waiting, {});
    if (reply.isError()) {
        m_capabilities = Capabilities::Unknown;
        reportMissing(reply.error().name());
        for (const Waiting& each : waiting) {
            if (each.receiver)
                each.shown(0);
        }
        return;
    }
    m_capabilities = Capabilities::Known;
    m_bodyMarkup = reply.value().contains(QLatin1String("body-markup"));
    for (const Waiting& each : waiting)
        send(each);
}

void NotificationServer::send(const Waiting& waiting)
{
    if (!waiting.receiver)
        return;
    const Notification& notification = waiting.notification;
    const QString details = QCoreApplication::translate("WardletApp", "Details");
    QVariantMap hints;
    hints.insert(QStringLiteral("urgency"), QVariant::fromValue(CriticalUrgency));
    hints.insert(QStringLiteral("desktop-entry"), QStringLiteral("wardlet"));
    hints.insert(QStringLiteral("category"), notification.category);
    QDBusMessage message = call("Notify");
    message << QCoreApplication::translate("WardletApp", "Trevanta") << notification.replacesId
            << QStringLiteral("wardlet") << notification.summary
            << (m_bodyMarkup ? escaped(notification.body) : notification.body)
            << QStringList{QStringLiteral("default"), details, QStringLiteral("details"), details} << hints
            << -1;
    auto* answer = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(message), this);
    connect(answer, &QDBusPendingCallWatcher::finished, waiting.receiver,
            [this, answer, shown = waiting.shown] {
                answer->deleteLater();
                const QDBusPendingReply<uint> reply = *answer;
                if (reply.isError()) {
                    reportMissing(reply.error().name());
                    shown(0);
                    return;
                }
                // A server that goes away again is logged again.
                m_loggedMissing = false;
                shown(reply.value());
            });
}

// D-Bus itself checks an error name: a dotted name of at most 255 characters, safe to log.
void NotificationServer::reportMissing(const QString& errorName)
{
    if (m_loggedMissing)
        return;
    m_loggedMissing = true;
    qCWarning(lcNotifications,
              "no notification server on the session bus (%s); none is shown until one answers",
              errorName.toLatin1().constData());
}

void NotificationServer::serverInvokedAction(uint id, const QString& action)
{
    if (action != QLatin1String("default") && action != QLatin1String("details"))
        return;
    const QByteArray token = id == m_tokenId ? std::exchange(m_token, {}) : QByteArray();
    m_tokenId = 0;
    emit actionInvoked(id, token);
}

void NotificationServer::serverClosedNotification(uint id, uint)
{
    emit closed(id);
}

void NotificationServer::serverSentActivationToken(uint id, const QString& token)
{
    const QByteArray bytes = token.left(WindowFocus::MaxToken + 1).toLatin1();
    m_tokenId = id;
    m_token = WindowFocus::isUsableToken(bytes.constData(), size_t(bytes.size())) ? bytes : QByteArray();
}
