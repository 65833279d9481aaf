#pragma once

#include <QObject>

class QDBusPendingCallWatcher;
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

    // Looks for a tray now and watches for one to appear, and for StatusNotifierItem watchers
    // that restart; hostAppeared() may come at once.
    void start();

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

    XEmbedTrayWatcher* m_xembed = nullptr;
    bool m_hostPresent = false;
    // Until the bus answered the first question, not having a tray is not yet known.
    bool m_busAnswered = false;
    bool m_loggedNoHost = false;
    // A watcher appeared after the first tray was found; its answer tells when it serves.
    bool m_watcherRestarted = false;
    // Questions asked of a watcher that has its name but does not answer yet.
    int m_questions = 0;
};
