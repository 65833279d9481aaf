#include "SocketTransport.h"

#include "MessageProcessor.h"

#include <QSocketNotifier>

#include <unistd.h>

namespace {

// The watcher may be dropped from inside its own notification, so it is deleted later.
void releaseWatcher(QSocketNotifier*& watcher)
{
    if (!watcher)
        return;
    watcher->setEnabled(false);
    watcher->disconnect();
    watcher->deleteLater();
    watcher = nullptr;
}

} // namespace

SocketTransport::SocketTransport(QObject* parent, int stallTimeout)
    : QObject(parent)
{
    m_stallTimer.setSingleShot(true);
    m_stallTimer.setInterval(stallTimeout);
    connect(&m_stallTimer, &QTimer::timeout, this, &SocketTransport::stalled);
}

SocketTransport::~SocketTransport()
{
    if (m_fd != -1)
        ::close(m_fd);
}

void SocketTransport::setProcessor(MessageProcessor* processor)
{
    m_processor = processor;
}

void SocketTransport::attach(int fd)
{
    close();
    m_fd = fd;
    m_readNotifier = new QSocketNotifier(m_fd, QSocketNotifier::Read, this);
    connect(m_readNotifier, &QSocketNotifier::activated, this, &SocketTransport::readReady);
    // Enabled until the first round is written; afterwards only while something waits to go out.
    m_writeNotifier = new QSocketNotifier(m_fd, QSocketNotifier::Write, this);
    connect(m_writeNotifier, &QSocketNotifier::activated, this, &SocketTransport::writeReady);
}

void SocketTransport::close()
{
    m_stallTimer.stop();
    releaseWatcher(m_readNotifier);
    releaseWatcher(m_writeNotifier);
    if (m_fd != -1) {
        ::close(m_fd);
        m_fd = -1;
    }
    if (m_processor)
        m_processor->reset();
}

long SocketTransport::read(void* buffer, long size, Status& status)
{
    const ssize_t n = ::read(m_fd, buffer, size_t(size));
    status = n > 0 ? Status::Ok : n == 0 ? Status::Eof : Status::Error;
    return n;
}

long SocketTransport::write(const void* buffer, long size, Status& status)
{
    const ssize_t n = ::write(m_fd, buffer, size_t(size));
    status = n >= 0 ? Status::Ok : Status::Error;
    if (n > 0)
        m_stallTimer.start();
    return n;
}

void SocketTransport::requestWrite()
{
    if (!m_writeNotifier)
        return;
    m_writeNotifier->setEnabled(true);
    if (!m_stallTimer.isActive())
        m_stallTimer.start();
}

void SocketTransport::readReady()
{
    // One read takes what a flood has queued, so the event loop (and every repaint it brings)
    // comes round once per 64 KiB rather than once per few frames.
    unsigned char buffer[64 * 1024];
    auto status = Status::Ok;
    const long n = read(buffer, sizeof buffer, status);
    if (n > 0) {
        if (m_processor && !m_processor->receiveData(buffer, int(n))) {
            // Without a frame boundary the rest of the stream is unreadable: start afresh.
            m_refusedHeaders.record();
            endConnection();
        }
        return;
    }
    if (status == Status::Eof)
        endConnection();
}

void SocketTransport::endConnection()
{
    close();
    emit closed();
}

void SocketTransport::writeReady()
{
    m_writeNotifier->setEnabled(false);
    if (m_processor && m_processor->sendPending() && m_writeNotifier)
        m_writeNotifier->setEnabled(true);
    else
        m_stallTimer.stop();
}

void SocketTransport::stalled()
{
    m_stalls.record();
    endConnection();
}
