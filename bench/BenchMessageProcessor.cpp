#include "messaging/Message.h"
#include "messaging/MessageProcessor.h"
#include "messaging/MessageService.h"
#include "messaging/MessageTransport.h"

#include <QtEndian>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <map>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

// Receiving never goes through the transport; it only has to exist. Sending through it takes
// every byte at once, as a socket with room to spare would.
class IdleTransport final : public MessageTransport
{
public:
    long read(void*, long, Status& status) override
    {
        status = Status::Ok;
        return 0;
    }
    long write(const void* buffer, long size, Status& status) override
    {
        status = Status::Ok;
        benchmark::DoNotOptimize(buffer);
        written += size;
        return size;
    }
    void requestWrite() override { }

    int64_t written = 0;
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

// The reference: the same stream copied with memcpy, piece by piece, into one buffer of the
// piece's size, the least any receiver has to do with bytes that arrive in pieces.
void copy(benchmark::State& state, Mix mix, int chunk)
{
    const Stream stream = buildStream(mix);
    const int size = int(stream.bytes.size());
    std::vector<unsigned char> piece(static_cast<size_t>(chunk));
    for (auto _ : state) {
        for (int at = 0; at < size; at += chunk) {
            std::memcpy(piece.data(), stream.bytes.data() + at, size_t(std::min(chunk, size - at)));
            benchmark::ClobberMemory();
        }
        benchmark::DoNotOptimize(piece.data());
    }
    state.SetBytesProcessed(int64_t(size) * int64_t(state.iterations()));
}

// Frames queued and then written until the queue is empty, a round of Round at a time.
void send(benchmark::State& state, int length)
{
    constexpr int Round = 64;
    IdleTransport transport;
    MessageProcessor processor(&transport);
    SummingService service(2);
    processor.registerService(&service);
    const std::vector<unsigned char> body(size_t(length), 0x5a);
    int sequence = 0;
    for (auto _ : state) {
        for (int i = 0; i < Round; ++i) {
            if (!processor.sendMessage(2, 0, ++sequence, length, body.data())) {
                state.SkipWithError("a frame was not queued");
                return;
            }
        }
        while (processor.sendPending()) { }
    }
    const int64_t frames = Round * int64_t(state.iterations());
    if (transport.written != frames * (Message::HeaderSize + length)) {
        state.SkipWithError("bytes went missing");
        return;
    }
    state.SetBytesProcessed(transport.written);
    state.counters["frames/s"] = benchmark::Counter(double(frames), benchmark::Counter::kIsRate);
}

// Prints the table (only the aggregates when benchmarks repeat), then each receiving
// benchmark's bytes per second over memcpy's on the same mix, from the repetitions of this run.
class RatioReporter final : public benchmark::ConsoleReporter
{
public:
    RatioReporter()
        : ConsoleReporter(isatty(STDOUT_FILENO) ? OO_ColorTabular : OO_Tabular)
    { }

    void ReportRuns(const std::vector<Run>& runs) override
    {
        std::vector<Run> shown;
        for (const Run& run : runs) {
            if (run.run_type == Run::RT_Aggregate || run.repetitions <= 1)
                shown.push_back(run);
            if (run.run_type != Run::RT_Iteration || run.error_occurred)
                continue;
            const auto rate = run.counters.find("bytes_per_second");
            if (rate != run.counters.end())
                m_rates[run.run_name.function_name].push_back(rate->second);
        }
        if (!shown.empty())
            ConsoleReporter::ReportRuns(shown);
    }

    void Finalize() override
    {
        ConsoleReporter::Finalize();
        std::printf("\nBytes per second over memcpy's on the same stream, median of the repetitions "
                    "[lowest .. highest repetition over memcpy's median]:\n");
        for (const auto& [name, rates] : m_rates) {
            if (name.rfind("receive/", 0) != 0)
                continue;
            const std::string mix = name.substr(name.find('/') + 1, name.find('_') - name.find('/') - 1);
            const std::string reference = "copy/" + mix + "_1k_pieces";
            if (m_rates.count(reference) == 0)
                continue;
            const double base = median(m_rates[reference]);
            std::printf("  %-26s %.2f [%.2f .. %.2f]\n", name.c_str(), median(rates) / base,
                        *std::min_element(rates.begin(), rates.end()) / base,
                        *std::max_element(rates.begin(), rates.end()) / base);
        }
    }

private:
    static double median(std::vector<double> values)
    {
        std::sort(values.begin(), values.end());
        const size_t n = values.size();
        return n % 2 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2;
    }

    std::map<std::string, std::vector<double>> m_rates;
};

} // namespace

BENCHMARK_CAPTURE(copy, small_1k_pieces, Mix::Small, 1024);
BENCHMARK_CAPTURE(copy, kib_1k_pieces, Mix::Kilobyte, 1024);
BENCHMARK_CAPTURE(copy, mixed_1k_pieces, Mix::Mixed, 1024);
BENCHMARK_CAPTURE(receive, small_1k_chunks, Mix::Small, 1024);
BENCHMARK_CAPTURE(receive, small_one_chunk, Mix::Small, 0);
BENCHMARK_CAPTURE(receive, kib_1k_chunks, Mix::Kilobyte, 1024);
BENCHMARK_CAPTURE(receive, kib_one_chunk, Mix::Kilobyte, 0);
BENCHMARK_CAPTURE(receive, mixed_1k_chunks, Mix::Mixed, 1024);
BENCHMARK_CAPTURE(receive, mixed_one_chunk, Mix::Mixed, 0);
BENCHMARK_CAPTURE(send, request_4_bytes, 4);
BENCHMARK_CAPTURE(send, kib, 1024);

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}
