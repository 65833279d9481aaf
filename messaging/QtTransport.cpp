#include "QtTransport.h"

#include "MessageProcessor.h"

#include <QSocketNotifier>

#include <cerrno>
#include <syslog.h>
#include <unistd.h>

namespace {

void releaseWatcher(QSocketNotifier*& watcher, QObject* owner, bool deferDeletion)
{
    if (!watcher)
        return;
    QObject::disconnect(watcher, nullptr, owner, nullptr);
    watcher->setEnabled(false);
    // The watcher may be closing from inside its own notification.
    if (deferDeletion)
        watcher->deleteLater();
    else
        delete watcher;
    watcher = nullptr;
}

} // namespace

QtTransport::QtTransport() = default;

QtTransport::~QtTransport()
{
    releaseWatcher(_readNotifier, this, false);
    releaseWatcher(_writeNotifier, this, false);
    if (_fd != -1)
        ::close(_fd);
}

void QtTransport::setProcessor(MessageProcessor* processor)
{
    _processor = processor;
}

void QtTransport::attach(int fd)
{
    close();
    _fd = fd;
    _open = true;
    _readNotifier = new QSocketNotifier(_fd, QSocketNotifier::Read);
    connect(_readNotifier, &QSocketNotifier::activated, this, &QtTransport::dataReceived);
    _writeNotifier = new QSocketNotifier(_fd, QSocketNotifier::Write);
    connect(_writeNotifier, &QSocketNotifier::activated, this, &QtTransport::outReady);
}

void QtTransport::close()
{
    releaseWatcher(_readNotifier, this, true);
    releaseWatcher(_writeNotifier, this, true);
    if (_fd != -1) {
        ::close(_fd);
        _fd = -1;
    }
    if (_processor)
        _processor->reset();
}

long QtTransport::read(void* buffer, long size, int* status)
{
    *status = TransportError;
    if (_fd == -1)
        return 0;
    const ssize_t n = ::read(_fd, buffer, size_t(size));
    if (n > 0) {
        *status = TransportOk;
        return n;
    }
    if (n == 0) {
        *status = TransportEof;
        return 0;
    }
    if (errno == EINTR || errno == EAGAIN) {
        *status = TransportOk;
        return 0;
    }
    return -1;
}

long QtTransport::write(const void* buffer, long size, int* status)
{
    *status = TransportError;
    if (_fd == -1)
        return 0;
    const ssize_t n = ::write(_fd, buffer, size_t(size));
    if (n >= 0) {
        *status = TransportOk;
        return n;
    }
    if (errno == EINTR || errno == EAGAIN) {
        *status = TransportOk;
        return 0;
    }
    // The peer is gone: stop pumping until the read side sees the end and we reconnect.
    if (errno == EPIPE || errno == ECONNRESET)
        *status = TransportLost;
    return -1;
}

void QtTransport::requestWrite()
{
    if (_writeNotifier)
        _writeNotifier->setEnabled(true);
}

void QtTransport::dataReceived(int)
{
    if (!_open)
        return;
    unsigned char buffer[1024];
    int status = TransportOk;
    const long n = read(buffer, sizeof buffer, &status);
    if (n < 0)
        return;
    if (n > 0) {
        if (_processor && !_processor->receiveData(buffer, int(n))) {
            // Without a frame boundary the rest of the stream is unreadable: start afresh.
            syslog(LOG_WARNING, "refused a frame header with an impossible length; reconnecting");
            endOfStream();
        }
        return;
    }
    if (status == TransportEof)
        endOfStream();
}

void QtTransport::endOfStream()
{
    _open = false;
    if (_readNotifier)
        _readNotifier->setEnabled(false);
    close();
    emit eof();
}

void QtTransport::outReady(int)
{
    if (_writeNotifier)
        _writeNotifier->setEnabled(false);
    if (!_processor)
        return;
    if (_processor->sendPending() && _writeNotifier)
        _writeNotifier->setEnabled(true);
}
