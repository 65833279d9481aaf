#pragma once

#include "UnexpectedWarnings.h"

#include <QDBusConnection>
#include <QDBusContext>
#include <QDBusMessage>
#include <QStringList>
#include <QVariantMap>
#include <QVector>

#include <optional>

// A notification server that records what it is asked, on a bus connection of its own. It can
// hold its answers to Notify back, as a busy server does.
class NotificationStub final : public QObject, protected QDBusContext
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")

public:
    explicit NotificationStub(const QString& connectionName = QStringLiteral("stub"))
        : m_bus(QDBusConnection::connectToBus(QDBusConnection::SessionBus, connectionName))
    {
        m_bus.registerObject(QStringLiteral("/org/freedesktop/Notifications"), this,
                             QDBusConnection::ExportAllSlots | QDBusConnection::ExportAllSignals);
    }
    // The connection outlives the stub: the name must not.
    ~NotificationStub() override { leave(); }
    bool serve() { return m_bus.registerService(QStringLiteral("org.freedesktop.Notifications")); }
    bool leave() { return m_bus.unregisterService(QStringLiteral("org.freedesktop.Notifications")); }
    void answerHeld()
    {
        for (const QDBusMessage& reply : std::exchange(m_held, {}))
            m_bus.send(reply);
    }
    void invoke(uint id, const QString& action) { emit ActionInvoked(id, action); }
    void sendToken(uint id, const QString& token) { emit ActivationToken(id, token); }
    void dismiss(uint id) { emit NotificationClosed(id, 2); }

    QStringList capabilities{QStringLiteral("actions"), QStringLiteral("body")};
    bool holdAnswers = false;
    // Each Notify call as "replacesId category summary: body"; the rest of the call is checked end to
    // end against a real server.
    QStringList calls;
    QVector<uint> closed;

public slots:
    QStringList GetCapabilities() { return capabilities; }
    uint Notify(const QString&, uint replacesId, const QString&, const QString& summary, const QString& body,
                const QStringList&, const QVariantMap& hints, int)
    {
        calls << QStringLiteral("%1 %2 %3: %4")
                     .arg(replacesId)
                     .arg(hints["category"].toString(), summary, body);
        const uint id = replacesId ? replacesId : m_nextId++;
        if (holdAnswers) {
            setDelayedReply(true);
            m_held.append(message().createReply(id));
        }
        return id;
    }
    void CloseNotification(uint id)
    {
        closed.append(id);
        emit NotificationClosed(id, 3);
    }

signals:
    void NotificationClosed(uint id, uint reason);
    void ActionInvoked(uint id, const QString& action);
    void ActivationToken(uint id, const QString& token);

private:
    QDBusConnection m_bus;
    QVector<QDBusMessage> m_held;
    uint m_nextId = 1;
};

// The notification tests' fixture, on the private bus the tests run with (notification-bus.conf):
// a fresh stub server for each test.
class NotificationTest : public QObject
{
    Q_OBJECT

protected:
    std::optional<NotificationStub> m_stub;

private slots:
    void init()
    {
        failOnUnexpectedWarnings();
        QVERIFY(m_stub.emplace().serve());
    }
};
