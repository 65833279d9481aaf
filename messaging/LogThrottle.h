#pragma once

#include <QByteArray>
#include <QLoggingCategory>
#include <QObject>
#include <QTimer>

// A log line that whoever is at the other end of a socket can cause at will. The first is
// written at once; the others in the following window are counted and summed up in one line
// when it ends, so a sender cannot fill the log. Idle, it keeps no timer running.
class LogThrottle final : public QObject
{
    Q_OBJECT

public:
    static constexpr int Window = 10000;

    // A warning in category; text says what happened, with %d for how many times.
    LogThrottle(const QLoggingCategory& category, const char* text, int window = Window,
                QObject* parent = nullptr);
    ~LogThrottle() override;

    // times more of it; detail (cut short) tells the last of them apart.
    void record(int times = 1, const QByteArray& detail = QByteArray());

private:
    void write();

    const QLoggingCategory& m_category;
    const char* m_text;
    // A child, so that a test can wait for the line at the window's end.
    QTimer m_window{this};
    int m_pending = 0;
    QByteArray m_detail;
};
