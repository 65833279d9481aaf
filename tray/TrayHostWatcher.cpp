#include "TrayHostWatcher.h"

#include "tray/Logging.h"
#include "tray/XEmbedTrayWatcher.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusServiceWatcher>
#include <QDBusVariant>
#include <QGuiApplication>
#include <QTimer>

namespace {

const char* const WatcherService = "org.kde.StatusNotifierWatcher";
const char* const WatcherPath = "/StatusNotifierWatcher";
// How long a watcher that has its name may take to serve its object: 2 s.
constexpr int MaxQuestions = 20;
constexpr int QuestionInterval = 100;

} // namespace

TrayHostWatcher::TrayHostWatcher(QObject* parent)
    : QObject(parent)
{ }

void TrayHostWatcher::start()
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (bus.isConnected()) {
        // A watcher that starts or restarts is asked afresh; its hosts register with it later.
        auto* serviceWatcher = new QDBusServiceWatcher(QLatin1String(WatcherService), bus,
                                                       QDBusServiceWatcher::WatchForRegistration, this);
        connect(serviceWatcher, &QDBusServiceWatcher::serviceRegistered, this, [this] {
            m_questions = 0;
            m_watcherRestarted = m_hostPresent;
            askWhetherHostRegistered();
        });
        bus.connect(QLatin1String(WatcherService), QLatin1String(WatcherPath), QLatin1String(WatcherService),
                    QStringLiteral("StatusNotifierHostRegistered"), this,
                    SLOT(statusNotifierHostRegistered()));
        askWhetherHostRegistered();
    } else {
        m_busAnswered = true;
    }

    // XEmbed trays exist only on X11.
    if (QGuiApplication::platformName() == QLatin1String("xcb")) {
        m_xembed = new XEmbedTrayWatcher(this);
        connect(m_xembed, &XEmbedTrayWatcher::managerAppeared, this, [this] { foundHost("an XEmbed tray"); });
        if (m_xembed->isManagerPresent())
            foundHost("an XEmbed tray");
    }
    logIfNoHost();
}

void TrayHostWatcher::askWhetherHostRegistered()
{
    QDBusMessage question = QDBusMessage::createMethodCall(
        QLatin1String(WatcherService), QLatin1String(WatcherPath),
        QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
    question << QLatin1String(WatcherService) << QStringLiteral("IsStatusNotifierHostRegistered");
    auto* call = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(question), this);
    connect(call, &QDBusPendingCallWatcher::finished, this, &TrayHostWatcher::hostRegisteredAnswered);
}

void TrayHostWatcher::hostRegisteredAnswered(QDBusPendingCallWatcher* call)
{
    call->deleteLater();
    const QDBusPendingReply<QDBusVariant> reply = *call;
    // Some watchers take their name on the bus before they serve their object.
    if (reply.isError() && reply.error().type() == QDBusError::UnknownObject && m_questions < MaxQuestions) {
        ++m_questions;
        QTimer::singleShot(QuestionInterval, this, &TrayHostWatcher::askWhetherHostRegistered);
        return;
    }
    m_busAnswered = true;
    if (m_watcherRestarted && !reply.isError()) {
        m_watcherRestarted = false;
        emit statusNotifierWatcherReturned();
    } else if (!reply.isError() && reply.value().variant().toBool()) {
        foundHost("a StatusNotifierItem host");
    }
    logIfNoHost();
}

void TrayHostWatcher::statusNotifierHostRegistered()
{
    foundHost("a StatusNotifierItem host");
}

void TrayHostWatcher::foundHost(const char* kind)
{
    if (m_hostPresent)
        return;
    m_hostPresent = true;
    if (m_loggedNoHost)
        qCInfo(lcTray, "%s appeared; the icon is shown there", kind);
    else
        qCDebug(lcTray, "%s found; the icon is shown there", kind);
    // Qt follows an XEmbed tray that restarts on its own.
    if (m_xembed)
        m_xembed->deleteLater();
    m_xembed = nullptr;
    emit hostAppeared();
}

void TrayHostWatcher::logIfNoHost()
{
    if (m_hostPresent || !m_busAnswered || m_loggedNoHost)
        return;
    m_loggedNoHost = true;
    qCInfo(lcTray, "no notification area yet; running without a tray icon until one appears");
}
