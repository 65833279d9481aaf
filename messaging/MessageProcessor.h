#pragma once

#include <deque>
#include <memory>
#include <vector>

class Message;
class MessageService;
class MessageTransport;

// Queues outgoing frames and assembles incoming ones for one channel. It never touches the
// socket: its transport drives it through receiveData() and sendPending().
class MessageProcessor
{
public:
    explicit MessageProcessor(MessageTransport* transport);
    virtual ~MessageProcessor();
    MessageProcessor(const MessageProcessor&) = delete;
    MessageProcessor& operator=(const MessageProcessor&) = delete;

    // Returns the service's id, or -1 for a null service or a negative id. Not owned.
    int registerService(MessageService* service);
    // Copies the body and queues the frame: 0 on success, -1 for an unregistered id, a bad
    // length or no memory (nothing is queued then).
    int sendMessage(int serviceId, int param, int sequence, int length, const unsigned char* data);
    // 1 when every byte was taken, 0 when a header was refused; a refused header is refused
    // again on every later call until reset().
    int receiveData(const unsigned char* bytes, int count);
    // Writes at most once; true while something is left to write.
    bool sendPending();
    // Forgets the transfers in progress; queued frames stay and a partly written one restarts.
    void reset();

private:
    MessageService* service(int id) const;
    void startReceivingHeader();

    bool _receivingHeader = true;
    int _needed = 0;
    int _received = 0;
    unsigned char* _receiveTarget = nullptr;
    unsigned char _headerIn[20];
    std::unique_ptr<Message> _incoming;
    std::vector<MessageService*> _services;
    MessageTransport* _transport;
    std::deque<std::unique_ptr<Message>> _queue;
    unsigned char _headerOut[20];
    bool _sendingHeader = false;
    const unsigned char* _sendBlock = nullptr;
    int _sendSize = 0;
    int _sendDone = 0;
};
