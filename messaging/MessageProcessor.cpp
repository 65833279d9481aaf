#include "MessageProcessor.h"

#include "Message.h"
#include "MessageService.h"
#include "MessageTransport.h"

#include <algorithm>
#include <cstring>
#include <new>

MessageProcessor::MessageProcessor(MessageTransport* transport)
    : _transport(transport)
{
    startReceivingHeader();
}

MessageProcessor::~MessageProcessor() = default;

MessageService* MessageProcessor::service(int id) const
{
    return id >= 0 && size_t(id) < _services.size() ? _services[size_t(id)] : nullptr;
}

void MessageProcessor::startReceivingHeader()
{
    _receivingHeader = true;
    _needed = Message::HeaderSize;
    _received = 0;
    _receiveTarget = _headerIn;
}

int MessageProcessor::registerService(MessageService* service)
{
    if (!service || service->serviceId() < 0)
        return -1;
    const int id = service->serviceId();
    if (size_t(id) >= _services.size())
        _services.resize(size_t(id) + 1, nullptr);
    _services[size_t(id)] = service;
    return id;
}

int MessageProcessor::sendMessage(int serviceId, int param, int sequence, int length,
                                  const unsigned char* data)
{
    MessageService* target = service(serviceId);
    if (!target)
        return -1;
    std::unique_ptr<Message> message(new (std::nothrow) Message);
    if (!message)
        return -1;
    const bool busy = _sendBlock || !_queue.empty();
    message->serviceWord = target->serviceWord();
    message->serviceId = target->serviceId();
    message->param = param;
    message->sequence = sequence;
    if (!message->setData(data, length))
        return -1;
    _queue.push_back(std::move(message));
    if (!busy)
        _transport->requestWrite();
    return 0;
}

bool MessageProcessor::sendPending()
{
    if (!_sendBlock) {
        if (_queue.empty())
            return false;
        _queue.front()->writeHeader(_headerOut);
        _sendBlock = _headerOut;
        _sendSize = Message::HeaderSize;
        _sendDone = 0;
        _sendingHeader = true;
    }

    int status = MessageTransport::TransportOk;
    const long written = _transport->write(_sendBlock + _sendDone, _sendSize - _sendDone, &status);
    if (written < 0 || status != MessageTransport::TransportOk) {
        if (status != MessageTransport::TransportLost)
            return true;
        for (MessageService* each : _services) {
            if (each)
                each->connectionLost();
        }
        return false;
    }
    if (written == 0)
        return true;

    _sendDone += int(written);
    if (_sendDone < _sendSize)
        return true;

    Message* front = _queue.front().get();
    if (_sendingHeader && front->length > 0) {
        _sendingHeader = false;
        _sendBlock = front->data;
        _sendSize = front->length;
        _sendDone = 0;
        return true;
    }

    _sendBlock = nullptr;
    _sendSize = 0;
    _sendDone = 0;
    std::unique_ptr<Message> sent = std::move(_queue.front());
    _queue.pop_front();
    if (MessageService* owner = service(sent->serviceId))
        owner->messageSent(sent.get());
    return !_queue.empty();
}

int MessageProcessor::receiveData(const unsigned char* bytes, int count)
{
    while (count > 0) {
        const int take = std::min(count, _needed);
        if (_receiveTarget) {
            std::memcpy(_receiveTarget + _received, bytes, size_t(take));
            _received += take;
        }
        _needed -= take;

        if (_needed == 0) {
            if (_receivingHeader) {
                _incoming.reset();
                int headerBytes = Message::HeaderSize;
                _incoming.reset(Message::fromHeader(_headerIn, headerBytes));
                if (!_incoming)
                    return 0;
                _receivingHeader = false;
                _received = 0;
                _receiveTarget = _incoming->data;
                _needed = _incoming->length;
            } else {
                if (MessageService* target = service(_incoming->serviceId))
                    target->handleMessage(_incoming.get());
                startReceivingHeader();
            }
        }

        count -= take;
        bytes += take;
    }
    return 1;
}

void MessageProcessor::reset()
{
    startReceivingHeader();
    _sendBlock = nullptr;
    _sendSize = 0;
    _sendDone = 0;
}
