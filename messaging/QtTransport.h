#pragma once

#include "MessageTransport.h"

#include <QObject>

class MessageProcessor;
class QSocketNotifier;

// Drives a MessageProcessor from one connected stream socket, watched by the event loop.
class QtTransport : public QObject, public MessageTransport
{
    Q_OBJECT

public:
    QtTransport();
    ~QtTransport() override;

    void setProcessor(MessageProcessor* processor);
    // Takes ownership of a connected socket, closing any previous one.
    void attach(int fd);
    // Drops the socket and its watchers and resets the processor's transfers.
    void close();
    int socketDescriptor() const { return _fd; }

    long read(void* buffer, long size, int* status) override;
    long write(const void* buffer, long size, int* status) override;
    void requestWrite() override;

signals:
    // The connection ended; emitted once per connection, after close().
    void eof();

public slots:
    void dataReceived(int fd);
    void outReady(int fd);

private:
    void endOfStream();

    bool _open = false;
    int _fd = -1;
    MessageProcessor* _processor = nullptr;
    QSocketNotifier* _readNotifier = nullptr;
    QSocketNotifier* _writeNotifier = nullptr;
};
