#include "LogThrottle.h"

namespace {

constexpr int MaxDetail = 200;

} // namespace

LogThrottle::LogThrottle(const QLoggingCategory& category, const char* text, int window, QObject* parent)
    : QObject(parent)
    , m_category(category)
    , m_text(text)
{
    m_window.setSingleShot(true);
    m_window.setInterval(window);
    connect(&m_window, &QTimer::timeout, this, &LogThrottle::write);
}

LogThrottle::~LogThrottle()
{
    if (m_pending > 0)
        write();
}

void LogThrottle::record(int times, const QByteArray& detail)
{
    m_pending += times;
    m_detail = detail.left(MaxDetail);
    if (!m_window.isActive())
        write();
}

void LogThrottle::write()
{
    if (m_pending == 0)
        return;
    const QByteArray line = QByteArray(m_text).replace("%d", QByteArray::number(m_pending))
        + (m_detail.isEmpty() ? QByteArray() : ": " + m_detail);
    qCWarning(m_category, "%s", line.constData());
    m_pending = 0;
    m_window.start();
}
