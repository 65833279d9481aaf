#include "MessageProcessor.h"

#include "Message.h"
#include "MessageService.h"
#include "MessageTransport.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace {

// A body buffer larger than this is given back after its frame, so one big frame does not
// keep its memory for good.
constexpr size_t KeptCapacity = 64 * 1024;

} // namespace

MessageProcessor::MessageProcessor(MessageTransport* transport, int maxBodyLength)
    : m_transport(transport)
    , m_maxBodyLength(maxBodyLength)
{ }

MessageProcessor::~MessageProcessor() = default;

MessageService* MessageProcessor::service(int id) const
{
    return id >= 0 && size_t(id) < m_services.size() ? m_services[size_t(id)] : nullptr;
}

int MessageProcessor::registerService(MessageService* service)
{
    if (!service || service->serviceId() < 0)
        return -1;
    const int id = service->serviceId();
    if (size_t(id) >= m_services.size())
        m_services.resize(size_t(id) + 1, nullptr);
    m_services[size_t(id)] = service;
    return id;
}

bool MessageProcessor::sendMessage(int serviceId, int param, int sequence, int length,
                                   const unsigned char* data)
{
    MessageService* sender = service(serviceId);
    if (!sender)
        return false;
    std::unique_ptr<Message> message(new (std::nothrow) Message);
    if (!message)
        return false;
    message->serviceWord = sender->serviceWord();
    message->serviceId = sender->serviceId();
    message->param = param;
    message->sequence = sequence;
    if (!message->setData(data, length))
        return false;
    const bool busy = m_sendBlock || !m_queue.empty();
    m_queue.push_back(std::move(message));
    if (!busy)
        m_transport->requestWrite();
    return true;
}

bool MessageProcessor::isQueued(int serviceId, int length, const unsigned char* data) const
{
    // The front one is being written while a send block is set.
    const auto waiting = m_queue.begin() + (m_sendBlock ? 1 : 0);
    return std::any_of(waiting, m_queue.end(), [&](const std::unique_ptr<Message>& message) {
        return message->serviceId == serviceId && message->length == length
            && (length == 0 || std::memcmp(message->data(), data, size_t(length)) == 0);
    });
}

bool MessageProcessor::sendPending()
{
    if (!m_sendBlock) {
        if (m_queue.empty())
            return false;
        m_queue.front()->writeHeader(m_headerOut);
        m_sendBlock = m_headerOut;
        m_sendSize = Message::HeaderSize;
        m_sendDone = 0;
        m_sendingHeader = true;
    }

    auto status = MessageTransport::Status::Ok;
    const long written = m_transport->write(m_sendBlock + m_sendDone, m_sendSize - m_sendDone, status);
    // Interrupted, would block or failed: the frame stays in progress. A peer that has gone is
    // noticed on the read side, which ends the connection.
    if (written <= 0)
        return true;

    m_sendDone += int(written);
    if (m_sendDone < m_sendSize)
        return true;

    const Message& front = *m_queue.front();
    if (m_sendingHeader && front.length > 0) {
        m_sendingHeader = false;
        m_sendBlock = front.data();
        m_sendSize = front.length;
        m_sendDone = 0;
        return true;
    }

    m_sendBlock = nullptr;
    m_sendSize = 0;
    m_sendDone = 0;
    m_queue.pop_front();
    return !m_queue.empty();
}

bool MessageProcessor::receiveData(const unsigned char* bytes, int count)
{
    if (m_refused)
        return false;
    while (count > 0) {
        int take = 0;
        if (m_receivingHeader) {
            take = std::min(count, Message::HeaderSize - m_headerReceived);
            std::memcpy(m_headerIn + m_headerReceived, bytes, size_t(take));
            m_headerReceived += take;
            if (m_headerReceived == Message::HeaderSize) {
                // Without a trustworthy length there is no finding the next frame.
                if (!m_incoming.readHeader(m_headerIn) || m_incoming.length > m_maxBodyLength) {
                    m_refused = true;
                    return false;
                }
                m_receivingHeader = false;
            }
        } else {
            take = std::min(count, m_incoming.length - int(m_incoming.body.size()));
            m_incoming.body.insert(m_incoming.body.end(), bytes, bytes + take);
        }
        if (!m_receivingHeader && int(m_incoming.body.size()) == m_incoming.length)
            deliver();
        count -= take;
        bytes += take;
    }
    return true;
}

void MessageProcessor::deliver()
{
    if (MessageService* receiver = service(m_incoming.serviceId))
        receiver->handleMessage(m_incoming);
    m_receivingHeader = true;
    m_headerReceived = 0;
    if (m_incoming.body.capacity() > KeptCapacity)
        m_incoming.body = {};
    m_incoming.body.clear();
}

void MessageProcessor::reset()
{
    m_receivingHeader = true;
    m_headerReceived = 0;
    m_refused = false;
    m_incoming.body = {};
    m_sendBlock = nullptr;
    m_sendSize = 0;
    m_sendDone = 0;
}
