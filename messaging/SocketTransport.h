#pragma once

#include "Logging.h"
#include "LogThrottle.h"
#include "MessageTransport.h"

#include <QObject>
#include <QTimer>

class MessageProcessor;
class QSocketNotifier;

// Drives a MessageProcessor from one connected stream socket, watched by the event loop.
class SocketTransport final : public QObject, public MessageTransport
{
    Q_OBJECT

public:
    // A peer that takes no byte for this long while frames wait for it is given up.
    static constexpr int StallTimeout = 30000;

    explicit SocketTransport(QObject* parent = nullptr, int stallTimeout = StallTimeout);
    ~SocketTransport() override;

    void setProcessor(MessageProcessor* processor);
    // Takes ownership of a connected socket, closing any previous one.
    void attach(int fd);
    // Drops the socket and its watchers and resets the processor's transfers.
    void close();
    bool isAttached() const { return m_fd != -1; }

    long read(void* buffer, long size, Status& status) override;
    long write(const void* buffer, long size, Status& status) override;
    void requestWrite() override;

signals:
    // The connection ended, or its bytes made no sense; emitted once per connection, after close().
    void closed();

private:
    void readReady();
    void writeReady();
    void endConnection();
    void stalled();

    int m_fd = -1;
    MessageProcessor* m_processor = nullptr;
    QSocketNotifier* m_readNotifier = nullptr;
    QSocketNotifier* m_writeNotifier = nullptr;
    // Runs while frames wait to be written, from the last byte the peer took.
    QTimer m_stallTimer;
    LogThrottle m_refusedHeaders{lcChannels(),
                                 "refused %d frame header(s) with an impossible length; reconnected"};
    LogThrottle m_stalls{lcChannels(), "gave up %d connection(s) to a daemon that took nothing for 30 s"};
};
