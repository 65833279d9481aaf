#pragma once

#include "Message.h"

#include <deque>
#include <memory>
#include <vector>

class MessageService;
class MessageTransport;

// Queues outgoing frames and assembles incoming ones for one channel. It never touches the
// socket: its transport drives it through receiveData() and sendPending().
class MessageProcessor final
{
public:
    // Frames whose body would be longer than maxBodyLength are refused like an impossible header.
    MessageProcessor(MessageTransport* transport, int maxBodyLength = Message::MaxLength);
    ~MessageProcessor();
    MessageProcessor(const MessageProcessor&) = delete;
    MessageProcessor& operator=(const MessageProcessor&) = delete;

    // Returns the service's id, or -1 for a null service or a negative id. Not owned.
    int registerService(MessageService* service);
    // Copies the body and queues the frame: true on success, false for an unregistered id, a
    // bad length or no memory (nothing is queued then).
    bool sendMessage(int serviceId, int param, int sequence, int length, const unsigned char* data);
    // Whether a frame with this body waits for its turn (one being written does not count).
    bool isQueued(int serviceId, int length, const unsigned char* data) const;
    // False when a header was refused; a refused header is refused again on every later call
    // until reset().
    bool receiveData(const unsigned char* bytes, int count);
    // Writes at most once; true while something is left to write.
    bool sendPending();
    // Forgets the transfers in progress; queued frames stay and a partly written one restarts.
    void reset();

private:
    MessageService* service(int id) const;
    void deliver();

    MessageTransport* m_transport;
    int m_maxBodyLength;
    std::vector<MessageService*> m_services;

    // The body grows with the bytes that arrive, never ahead of them.
    Message m_incoming;
    unsigned char m_headerIn[Message::HeaderSize];
    int m_headerReceived = 0;
    bool m_receivingHeader = true;
    bool m_refused = false;

    std::deque<std::unique_ptr<Message>> m_queue;
    unsigned char m_headerOut[Message::HeaderSize];
    bool m_sendingHeader = false;
    const unsigned char* m_sendBlock = nullptr;
    int m_sendSize = 0;
    int m_sendDone = 0;
};
