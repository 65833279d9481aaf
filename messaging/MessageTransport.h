#pragma once

// The byte pipe under a MessageProcessor.
class MessageTransport
{
public:
    enum class Status
    {
        Ok,
        Error, // nothing moved this time; a write is tried again when the socket is writable
        Eof, // read only: the peer closed the connection
    };

    virtual ~MessageTransport() = default;

    virtual long read(void* buffer, long size, Status& status) = 0;
    virtual long write(const void* buffer, long size, Status& status) = 0;
    // Asks to be driven through MessageProcessor::sendPending() once the peer can take bytes.
    virtual void requestWrite() = 0;
};
