#pragma once

#include <QByteArray>
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

    // text says what happened, with %d for how many times.
    explicit LogThrottle(const char* text, int window = Window, QObject* parent = nullptr);
    ~LogThrottle() override;

    // times more of it; detail (cut short) tells the last of them apart.
    void record(int times = 1, const QByteArray& detail = QByteArray());

private:
    void write();

    const char* m_text;
    QTimer m_window;
    int m_pending = 0;
    QByteArray m_detail;
};
