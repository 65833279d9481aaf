// Arbitrary byte streams, cut into arbitrary chunks, through the receive path with both
// status services behind it. Every frame handed over must be exactly what the stream holds,
// and nothing may be handed over after a refused header.
#include "messaging/ManagementService.h"
#include "messaging/MessageProcessor.h"
#include "messaging/MessageTransport.h"
#include "messaging/ScanDaemonService.h"

#include <QtEndian>

#include <fuzzer/FuzzedDataProvider.h>

#include <cstdlib>
#include <cstring>
#include <deque>
#include <vector>

namespace {

constexpr int Bound = 4096;

class NoTransport final : public MessageTransport
{
public:
    long read(void*, long, Status&) override { return 0; }
    long write(const void*, long, Status&) override { return 0; }
    void requestWrite() override { }
};

struct Frame
{
    int serviceId;
    int sequence;
    std::vector<unsigned char> body;
};

// Checks each frame against the next one the stream holds, then passes it on.
class Checker final : public MessageService
{
public:
    Checker(MessageService& inner, std::deque<Frame>& expected)
        : m_inner(inner)
        , m_expected(expected)
    { }
    int serviceId() const override { return m_inner.serviceId(); }
    void handleMessage(const Message& message) override
    {
        if (m_expected.empty())
            std::abort();
        const Frame& frame = m_expected.front();
        if (frame.serviceId != message.serviceId || frame.sequence != message.sequence
            || frame.body != message.body || message.length != int(message.body.size()))
            std::abort();
        m_expected.pop_front();
        m_inner.handleMessage(message);
    }

private:
    MessageService& m_inner;
    std::deque<Frame>& m_expected;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    FuzzedDataProvider input(data, size);
    const auto chunking = input.ConsumeIntegral<uint32_t>();
    const std::vector<unsigned char> stream = input.ConsumeRemainingBytes<unsigned char>();

    // The frames a reader that trusts nothing would find, up to the first refused header.
    std::deque<Frame> expected;
    bool refused = false;
    size_t at = 0;
    while (stream.size() - at >= 20) {
        const auto length = qFromBigEndian<qint32>(stream.data() + at + 16);
        if (length < 0 || length > Bound) {
            refused = true;
            break;
        }
        if (stream.size() - at - 20 < size_t(length))
            break;
        const int serviceId = qFromBigEndian<qint32>(stream.data() + at + 4);
        if (serviceId == ScanDaemonService::Id || serviceId == ManagementService::Id)
            expected.push_back({serviceId,
                                qFromBigEndian<qint32>(stream.data() + at + 12),
                                {stream.begin() + long(at) + 20, stream.begin() + long(at) + 20 + length}});
        at += 20 + size_t(length);
    }

    ScanDaemonService scanDaemon;
    ManagementService management;
    Checker scanDaemonChecker(scanDaemon, expected);
    Checker managementChecker(management, expected);
    NoTransport transport;
    MessageProcessor processor(&transport, Bound);
    processor.registerService(&scanDaemonChecker);
    processor.registerService(&managementChecker);

    bool taken = true;
    size_t offset = 0;
    uint32_t seed = chunking | 1;
    while (offset < stream.size()) {
        seed = seed * 1103515245u + 12345u;
        const size_t chunk = std::min<size_t>(stream.size() - offset, 1 + (seed >> 16) % 1500);
        taken = processor.receiveData(stream.data() + offset, int(chunk));
        offset += chunk;
    }
    if (!expected.empty() || taken == refused)
        std::abort();
    return 0;
}
