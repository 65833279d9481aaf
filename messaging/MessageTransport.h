#pragma once

// The byte pipe under a MessageProcessor.
class MessageTransport
{
public:
    enum class Status
    {
        Ok, // done, or interrupted / would block with a count of 0
        Error,
        Eof, // read only: the peer closed the connection
        Lost, // write only: the connection is gone, stop sending
    };

    virtual ~MessageTransport() = default;

    virtual long read(void* buffer, long size, Status& status) = 0;
    virtual long write(const void* buffer, long size, Status& status) = 0;
    // Asks to be driven through MessageProcessor::sendPending() once the peer can take bytes.
    virtual void requestWrite() = 0;
};
