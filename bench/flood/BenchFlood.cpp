// Floods the real application object with the scan daemon's status reports through its socket
// and measures how many it takes per second, how long its event loop stalls meanwhile, and how
// late the last report reaches the tray icon. Run it on a desktop with a tray (bench/flood.py).

#include "Feeder.h"

#include "app/WardletApp.h"
#include "messaging/MessageIds.h"

#include <QCommandLineParser>
#include <QEventLoop>
#include <QTemporaryDir>
#include <QtEndian>
#include <QTimer>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <functional>
#include <map>
#include <unistd.h>

namespace {

using Clock = Feeder::Clock;

double seconds(Clock::duration d)
{
    return std::chrono::duration<double>(d).count();
}

double threadCpuSeconds()
{
    timespec now = {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return double(now.tv_sec) + double(now.tv_nsec) * 1e-9;
}

enum class Mix
{
    Steady, // every report the same: nothing changes until the last one
    Toggling, // the scanner flips on every report, and so does the tray picture
};

void appendReport(std::vector<unsigned char>& out, int bodySize, int sequence, ScannerState state)
{
    const size_t at = out.size();
    out.resize(at + 20 + size_t(bodySize), 0);
    unsigned char* frame = out.data() + at;
    qToBigEndian<quint32>(2, frame + 4);
    qToBigEndian<quint32>(quint32(sequence), frame + 12);
    qToBigEndian<quint32>(quint32(bodySize), frame + 16);
    const quint32 words[] = {KvsStatusReport, quint32(state), 1, 1, 1};
    for (int i = 0; i < bodySize / 4; ++i)
        qToBigEndian<quint32>(words[i], frame + 20 + 4 * i);
}

// count reports; the last one, and only that one, says the scanner malfunctions.
std::vector<unsigned char> flood(int bodySize, Mix mix, int count)
{
    std::vector<unsigned char> out;
    out.reserve(size_t(count) * size_t(20 + bodySize));
    for (int i = 1; i < count; ++i) {
        const bool off = mix == Mix::Toggling && i % 2 == 1;
        appendReport(out, bodySize, i, off ? ScannerState::Disabled : ScannerState::Enabled);
    }
    appendReport(out, bodySize, count, ScannerState::Malfunctioning);
    return out;
}

// Runs the event loop until done() holds; false when timeoutMs passed first.
bool waitFor(const std::function<bool()>& done, int timeoutMs)
{
    QEventLoop loop;
    QTimer poll;
    QObject::connect(&poll, &QTimer::timeout, &loop, [&] {
        if (done())
            loop.quit();
    });
    QTimer::singleShot(timeoutMs, &loop, &QEventLoop::quit);
    poll.start(2);
    if (!done())
        loop.exec();
    return done();
}

struct Result
{
    double rate = 0; // reports per second, from the first byte written to the last report shown
    double cpuRate = 0; // reports per second of the GUI thread's CPU time
    double stallMs = 0; // longest lateness of a 1 ms timer while the flood ran
    double lagMs = 0; // last report shown after the last byte went into the socket
};

bool measure(WardletApp& app, Feeder& feeder, const std::vector<unsigned char>& bytes, int count,
             Result& result)
{
    // Back to a protected scanner, the picture the flood starts from.
    std::vector<unsigned char> reset;
    appendReport(reset, 20, 1, ScannerState::Enabled);
    feeder.write(reset);
    if (!waitFor([&] { return feeder.done() && app.trayIcon().picture() == TrayIcon::Picture::Shield; },
                 5000))
        return false;

    QEventLoop loop;
    Clock::time_point shown;
    const QMetaObject::Connection watch
        = QObject::connect(&app.status(), &StatusModel::protectionChanged, &loop, [&] {
              if (app.status().scannerState() != ScannerState::Malfunctioning)
                  return;
              shown = Clock::now();
              loop.quit();
          });
    QTimer ticker;
    ticker.setTimerType(Qt::PreciseTimer);
    Clock::time_point tick = Clock::now();
    Clock::duration longest{};
    QObject::connect(&ticker, &QTimer::timeout, &loop, [&] {
        const Clock::time_point now = Clock::now();
        longest = std::max(longest, now - tick);
        tick = now;
    });
    QTimer::singleShot(120000, &loop, &QEventLoop::quit);

    ticker.start(1);
    tick = Clock::now();
    const double cpuBefore = threadCpuSeconds();
    feeder.write(bytes);
    loop.exec();
    const double cpu = threadCpuSeconds() - cpuBefore;
    ticker.stop();
    QObject::disconnect(watch);
    if (shown == Clock::time_point() || !waitFor([&] { return feeder.done(); }, 5000))
        return false;

    longest = std::max(longest, shown - tick);
    result.rate = count / seconds(shown - feeder.started());
    result.cpuRate = count / cpu;
    result.stallMs = std::max(0.0, seconds(longest) * 1e3 - 1.0);
    result.lagMs = std::max(0.0, seconds(shown - feeder.ended()) * 1e3);
    return true;
}

// "median [min .. max]" of one column.
QString spread(std::vector<double> values, int precision)
{
    std::sort(values.begin(), values.end());
    const size_t n = values.size();
    const double median = n % 2 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2;
    return QStringLiteral("%1 [%2 .. %3]")
        .arg(median, 0, 'f', precision)
        .arg(values.front(), 0, 'f', precision)
        .arg(values.back(), 0, 'f', precision);
}

} // namespace

int main(int argc, char** argv)
{
    std::signal(SIGPIPE, SIG_IGN);
    // The program's own names, settings and daemons stay out of this.
    const QByteArray suffix = "-bench-flood-" + QByteArray::number(::getpid());
    qputenv("WARDLET_SOCKET_SUFFIX", suffix);
    QTemporaryDir config;
    qputenv("XDG_CONFIG_HOME", config.path().toLocal8Bit());
    Feeder feeder;

    WardletApp app(argc, argv);
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Status reports through socket, processor, service, "
                                                    "model and tray icon of the real application object."));
    parser.addHelpOption();
    const QCommandLineOption reportsOption(QStringLiteral("reports"), QStringLiteral("Reports per flood."),
                                           QStringLiteral("N"), QStringLiteral("2000000"));
    const QCommandLineOption runsOption(QStringLiteral("runs"), QStringLiteral("Floods of each kind."),
                                        QStringLiteral("N"), QStringLiteral("5"));
    parser.addOptions({reportsOption, runsOption});
    parser.process(app);
    const int count = std::max(2, parser.value(reportsOption).toInt());
    const int runs = std::max(1, parser.value(runsOption).toInt());

    app.start();
    if (!feeder.isListening()
        || !waitFor([&] { return app.status().managementState() == ManagementState::SelfManaged; }, 10000)) {
        std::fprintf(stderr, "the program did not connect to the stand-in daemons\n");
        return 1;
    }

    struct Kind
    {
        const char* name;
        int bodySize;
        Mix mix;
    };
    const Kind kinds[] = {{"20-byte steady", 20, Mix::Steady},
                          {"16-byte steady", 16, Mix::Steady},
                          {"20-byte toggling", 20, Mix::Toggling},
                          {"16-byte toggling", 16, Mix::Toggling}};
    std::map<const char*, std::vector<Result>> results;
    // Interleaved, so a disturbance from outside spreads over every kind.
    for (int run = 0; run < runs; ++run) {
        for (const Kind& kind : kinds) {
            // Built for each flood, so only one is held at a time.
            const std::vector<unsigned char> bytes = flood(kind.bodySize, kind.mix, count);
            Result result;
            if (!measure(app, feeder, bytes, count, result)) {
                std::fprintf(stderr, "%s: the last report never arrived\n", kind.name);
                return 1;
            }
            std::printf("run %d %-17s %9.0f reports/s %9.0f per CPU s  stall %6.2f ms  lag %6.2f ms\n", run,
                        kind.name, result.rate, result.cpuRate, result.stallMs, result.lagMs);
            std::fflush(stdout);
            results[kind.name].push_back(result);
        }
    }

    std::printf("\n%d reports per flood, %d floods of each kind; median [min .. max]\n", count, runs);
    for (const Kind& kind : kinds) {
        const std::vector<Result>& all = results[kind.name];
        const auto column = [&all](double Result::*field) {
            std::vector<double> values;
            for (const Result& result : all)
                values.push_back(result.*field);
            return values;
        };
        std::printf(
            "%-17s reports/s %s; per CPU s %s; stall ms %s; lag ms %s\n", kind.name,
            qPrintable(spread(column(&Result::rate), 0)), qPrintable(spread(column(&Result::cpuRate), 0)),
            qPrintable(spread(column(&Result::stallMs), 2)), qPrintable(spread(column(&Result::lagMs), 2)));
    }
    return 0;
}
