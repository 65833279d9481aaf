#pragma once

class Message;

// A channel's consumer of frames, registered with a MessageProcessor under its id.
class MessageService
{
public:
    virtual ~MessageService() = default;

    // Fixed for the service's life: its index in the processor and the id of every frame it sends.
    virtual int serviceId() const = 0;
    // Written into header bytes 2-3 of the service's frames.
    virtual int serviceWord() const { return 0; }
    // A complete frame arrived; the processor keeps ownership of the message.
    virtual void handleMessage(const Message& message) = 0;
};
