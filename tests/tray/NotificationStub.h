#pragma once

#include <QDBusConnection>
#include <QDBusContext>
#include <QDBusMessage>
#include <QProcess>
#include <QStringList>
#include <QTemporaryDir>
#include <QVariantMap>
#include <QVector>

#include <optional>

// A session bus of the test's own, which starts no services; it becomes the session bus of
// everything the test makes after it.
class PrivateBus final
{
public:
    PrivateBus()
    {
        QFile config(m_dir.filePath(QStringLiteral("bus.conf")));
        config.open(QIODevice::WriteOnly);
        config.write("<busconfig><type>session</type><listen>unix:dir=" + m_dir.path().toUtf8()
                     + "</listen><policy context=\"default\"><allow send_destination=\"*\"/>"
                       "<allow receive_sender=\"*\"/><allow own=\"*\"/></policy></busconfig>");
        config.close();
        m_daemon.start(QStringLiteral("dbus-daemon"),
                       {QStringLiteral("--config-file"), config.fileName(), QStringLiteral("--nofork"),
                        QStringLiteral("--print-address=1")});
        m_daemon.waitForReadyRead(10000);
        qputenv("DBUS_SESSION_BUS_ADDRESS", m_daemon.readLine().trimmed());
    }
    ~PrivateBus()
    {
        m_daemon.terminate();
        m_daemon.waitForFinished();
    }

private:
    QTemporaryDir m_dir;
    QProcess m_daemon;
};

// A notification server that records what it is asked, on a bus connection of its own. It can
// hold its answers to Notify back, as a busy server does.
class NotificationStub final : public QObject, protected QDBusContext
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")

public:
    struct Call
    {
        QString appName;
        uint replacesId;
        QString appIcon;
        QString summary;
        QString body;
        QStringList actions;
        QVariantMap hints;
        int timeout;
    };

    explicit NotificationStub(const QString& connectionName = QStringLiteral("stub"))
        : m_bus(QDBusConnection::connectToBus(QDBusConnection::SessionBus, connectionName))
    {
        m_bus.registerObject(QStringLiteral("/org/freedesktop/Notifications"), this,
                             QDBusConnection::ExportAllSlots | QDBusConnection::ExportAllSignals);
    }
    bool serve() { return m_bus.registerService(QStringLiteral("org.freedesktop.Notifications")); }
    bool leave() { return m_bus.unregisterService(QStringLiteral("org.freedesktop.Notifications")); }
    // Answers the held calls in order.
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
    QVector<Call> calls;
    QVector<uint> closed;

public slots:
    QStringList GetCapabilities() { return capabilities; }
    uint Notify(const QString& appName, uint replacesId, const QString& appIcon, const QString& summary,
                const QString& body, const QStringList& actions, const QVariantMap& hints, int timeout)
    {
        calls.append({appName, replacesId, appIcon, summary, body, actions, hints, timeout});
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
