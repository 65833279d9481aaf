#pragma once

#include <QObject>

class QDBusPendingCallWatcher;
class QDBusServiceWatcher;
class XEmbedTrayWatcher;

// Finds out whether the desktop has a notification area, without touching QSystemTrayIcon: Qt
// decides once per process, when the first tray icon is made, between a StatusNotifierItem host
// on the session bus and an XEmbed tray, and never looks again. An icon made before any tray
// exists is tied to one that may never come, so the icon waits for this watcher instead.
class TrayHostWatcher final : public QObject
{
    Q_OBJECT

public:
    explicit TrayHostWatcher(QObject* parent = nullptr);
    ~TrayHostWatcher() override;

    // Looks for a tray now and keeps watching until one appears; hostAppeared() may come at once.
    void start();
    bool isHostPresent() const { return m_hostPresent; }

signals:
    // Once, when the first tray is found.
    void hostAppeared();
    // A StatusNotifierItem watcher started after the first tray was found: it knows no items.
    void statusNotifierWatcherReturned();

private slots:
    // The StatusNotifierWatcher's signal; QtDBus connects signals by slot name only.
    void statusNotifierHostRegistered();

private:
    void askWhetherHostRegistered();
    void hostRegisteredAnswered(QDBusPendingCallWatcher* call);
    void foundHost(const char* kind);
    void logIfNoHost();

    QDBusServiceWatcher* m_serviceWatcher = nullptr;
    XEmbedTrayWatcher* m_xembed = nullptr;
    bool m_hostPresent = false;
    // Until the bus answered the first question, not having a tray is not yet known.
    bool m_busAnswered = false;
    bool m_loggedNoHost = false;
    // Questions asked of a watcher that has its name but does not answer yet.
    int m_questions = 0;
};
