#include "messaging/Message.h"
#include "messaging/MessageProcessor.h"
#include "messaging/MessageService.h"
#include "messaging/MessageTransport.h"

#include <QtEndian>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <vector>

namespace {

// Receiving never goes through the transport; it only has to exist.
class IdleTransport final : public MessageTransport
{
public:
    long read(void*, long, Status& status) override
    {
        status = Status::Ok;
        return 0;
    }
    long write(const void*, long, Status& status) override
    {
        status = Status::Ok;
        return 0;
    }
    void requestWrite() override { }
};

// Touches one byte of every body so delivery cannot be optimised away.
class SummingService final : public MessageService
{
public:
    explicit SummingService(int id)
        : m_id(id)
    { }

    int serviceId() const override { return m_id; }
    void handleMessage(const Message& message) override
    {
        ++frames;
        if (message.length > 0)
            sum += message.body.back();
    }

    int64_t frames = 0;
    uint64_t sum = 0;

private:
    int m_id;
};

enum class Mix
{
    Small,
    Kilobyte,
    Mixed
};

struct Stream
{
    std::vector<unsigned char> bytes;
    int64_t frames = 0;
};

void appendFrame(Stream& stream, int serviceId, int sequence, int length)
{
    unsigned char header[Message::HeaderSize] = {};
    qToBigEndian<quint32>(quint32(serviceId), header + 4);
    qToBigEndian<quint32>(quint32(sequence), header + 12);
    qToBigEndian<quint32>(quint32(length), header + 16);
    stream.bytes.insert(stream.bytes.end(), header, header + Message::HeaderSize);
    for (int i = 0; i < length; ++i)
        stream.bytes.push_back((unsigned char)(sequence + i));
    ++stream.frames;
}

// About 1 MiB of frames for services 1 and 2, as the daemon would interleave them.
Stream buildStream(Mix mix)
{
    static const int mixedLengths[] = {0, 4, 16, 64, 300, 1024, 4096, 12};
    constexpr size_t target = 1 << 20;
    Stream stream;
    int sequence = 1;
    int length = 0;
    for (; stream.bytes.size() < target; ++sequence) {
        length = 4;
        if (mix == Mix::Kilobyte)
            length = 1024;
        else if (mix == Mix::Mixed)
            length = mixedLengths[size_t(sequence) % std::size(mixedLengths)];
        appendFrame(stream, 1 + sequence % 2, sequence, length);
    }
    // A frame without a body is only delivered once later bytes arrive, so never end on one.
    if (length == 0)
        appendFrame(stream, 1, sequence, 4);
    return stream;
}

// chunk 0 hands the whole stream over in one call.
void receive(benchmark::State& state, Mix mix, int chunk)
{
    const Stream stream = buildStream(mix);
    const int size = int(stream.bytes.size());
    const int step = chunk > 0 ? chunk : size;
    IdleTransport transport;
    MessageProcessor processor(&transport);
    SummingService one(1);
    SummingService two(2);
    processor.registerService(&one);
    processor.registerService(&two);

    for (auto _ : state) {
        for (int at = 0; at < size; at += step) {
            if (!processor.receiveData(stream.bytes.data() + at, std::min(step, size - at))) {
                state.SkipWithError("a frame was refused");
                return;
            }
        }
    }

    const int64_t frames = stream.frames * int64_t(state.iterations());
    if (one.frames + two.frames != frames) {
        state.SkipWithError("frames went missing");
        return;
    }
    benchmark::DoNotOptimize(one.sum + two.sum);
    state.SetBytesProcessed(int64_t(size) * int64_t(state.iterations()));
    state.counters["frames/s"] = benchmark::Counter(double(frames), benchmark::Counter::kIsRate);
}

} // namespace

BENCHMARK_CAPTURE(receive, small_1k_chunks, Mix::Small, 1024);
BENCHMARK_CAPTURE(receive, small_one_chunk, Mix::Small, 0);
BENCHMARK_CAPTURE(receive, kib_1k_chunks, Mix::Kilobyte, 1024);
BENCHMARK_CAPTURE(receive, kib_one_chunk, Mix::Kilobyte, 0);
BENCHMARK_CAPTURE(receive, mixed_1k_chunks, Mix::Mixed, 1024);
BENCHMARK_CAPTURE(receive, mixed_one_chunk, Mix::Mixed, 0);

BENCHMARK_MAIN();
