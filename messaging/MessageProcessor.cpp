#include "MessageProcessor.h"

#include "Message.h"
#include "MessageService.h"
#include "MessageTransport.h"

#include <algorithm>
#include <cstring>
#include <new>

MessageProcessor::MessageProcessor(MessageTransport* transport)
    : m_transport(transport)
{
    startReceivingHeader();
}

MessageProcessor::~MessageProcessor() = default;

MessageService* MessageProcessor::service(int id) const
{
    return id >= 0 && size_t(id) < m_services.size() ? m_services[size_t(id)] : nullptr;
}

void MessageProcessor::startReceivingHeader()
{
    m_receivingHeader = true;
    m_needed = Message::HeaderSize;
    m_received = 0;
    m_receiveTarget = m_headerIn;
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
    if (status == MessageTransport::Status::Lost) {
        for (MessageService* each : m_services) {
            if (each)
                each->connectionLost();
        }
        return false;
    }
    // Interrupted, would block or failed for now: the frame stays in progress.
    if (written <= 0 || status != MessageTransport::Status::Ok)
        return true;

    m_sendDone += int(written);
    if (m_sendDone < m_sendSize)
        return true;

    const Message& front = *m_queue.front();
    if (m_sendingHeader && front.length > 0) {
        m_sendingHeader = false;
        m_sendBlock = front.data;
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
    while (count > 0) {
        const int take = std::min(count, m_needed);
        if (m_receiveTarget) {
            std::memcpy(m_receiveTarget + m_received, bytes, size_t(take));
            m_received += take;
        }
        m_needed -= take;

        if (m_needed == 0) {
            if (m_receivingHeader) {
                int headerBytes = Message::HeaderSize;
                m_incoming.reset(Message::fromHeader(m_headerIn, headerBytes));
                if (!m_incoming)
                    return false;
                m_receivingHeader = false;
                m_received = 0;
                m_receiveTarget = m_incoming->data;
                m_needed = m_incoming->length;
            } else {
                if (MessageService* receiver = service(m_incoming->serviceId))
                    receiver->handleMessage(*m_incoming);
                startReceivingHeader();
            }
        }

        count -= take;
        bytes += take;
    }
    return true;
}

void MessageProcessor::reset()
{
    startReceivingHeader();
    m_sendBlock = nullptr;
    m_sendSize = 0;
    m_sendDone = 0;
}
