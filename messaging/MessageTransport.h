#pragma once

// The byte pipe under a MessageProcessor. Every call reports one of the status codes.
class MessageTransport
{
public:
    enum Status
    {
        TransportOk = 0, // done, or interrupted / would block with a count of 0
        TransportError = -1,
        TransportEof = -2, // read only: the peer closed the connection
        TransportLost = -4, // write only: the connection is gone, stop sending
    };

    virtual ~MessageTransport() = default;

    virtual long read(void* buffer, long size, int* status) = 0;
    virtual long write(const void* buffer, long size, int* status) = 0;
    // Asks to be driven through MessageProcessor::sendPending() once the peer can take bytes.
    virtual void requestWrite() = 0;
};
