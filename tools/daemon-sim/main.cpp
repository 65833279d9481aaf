#include "CommandRunner.h"
#include "Console.h"
#include "DaemonSimulator.h"
#include "messaging/ChannelAddress.h"

#include <QCoreApplication>
#include <QSocketNotifier>

#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

const char helpText[] = R"(Usage: wardlet-daemon-sim [OPTION]...
Stands in for the scan daemon and the management client, so wardlet can be driven through
every state by hand or by tests. Reads one command per line; logs every frame received.

Options:
  --suffix S        append S to both socket names (same as WARDLET_SOCKET_SUFFIX)
  --kvs-name N      full socket name of the scan daemon (default Calvorin-trayIPC + suffix)
  --pdx-name N      full socket name of the management client (default Calvorin-PdxIPC + suffix)
  --script FILE     run the commands in FILE, then those from standard input
  --no-stdin        ignore standard input; run until quit, SIGINT or SIGTERM
  --quiet           do not log frames and connections; status output and errors remain
  --verbose         also log every frame sent
  --help            show this help and exit

Commands (# starts a comment; "..." groups words, "" inside is a quote, \ stays as typed):
  vg N                         scanner: 0 disabled, 1 enabled, 2 malfunctioning, 3 not installed
  running 0|1                  whether the scanner runs
  update-allowed 0|1           whether the user may start an update
  show-icon 0|1                whether the tray shows its icon
  versions PRODUCT ENGINE DEFS version texts
  defs-date D M Y REV          definitions date and revision; year 0 means waiting for update
  scan N                       scan status code
  selfmanaged                  not managed by a server
  server online ADDRESS [TIME] managed and online since TIME (seconds, or now as by default)
  server offline               managed, server unreachable
  connected-time TIME          time of the last server contact (seconds or now)
  group TEXT...                group name; group-none reports none
  location TEXT...             location name; location-none reports none
  policy TEXT...               policy number; policy-none reports none
  alert TIME FORMAT [K=TEXT]...
                               send an alert made of the tray's template FORMAT and the
                               fields K of L E V P C S N A F; TIME may be now
  drop kvs|pdx|all             close the client connection
  stop kvs|pdx|all             stop listening and close the client connection
  listen kvs|pdx|all           listen again
  raw kvs|pdx HEX              write the bytes as given to the client (spaces allowed)
  sleep MS                     pause the commands, still serving the tray
  wait-connected kvs|pdx       pause the commands until a client is connected
  status                       print the current state, one command per line
  quit                         exit
Every change is pushed to the connected client at once; requests are answered from the
current state.

Protocol: abstract Unix stream sockets, bound with the full 110-byte padded address.
Frame: 20-byte big-endian header (u16 0, u16 0, i32 service 2 scan daemon / 3 management
client, i32 0, i32 sequence, i32 body length), then the body, which starts with a u32 id.
Texts count their bytes plus a trailing zero, except group, location and server address.
  scan daemon:  1 status request (u32 n, locale with zero) -> 2 status (u32 vg, running,
                update allowed, show icon); 4 -> 5 versions (three texts, u32 day, month,
                year, i32 revision); 6 -> 7 scan status (u32); 9 update done;
                3 alert (i32 time, texts L E V P C S N A F format)
  management:   23 -> 24 policy number, 25 -> 26 group, 27 -> 28 location (u32 present,
                i32 n, bytes); 31 -> 32 server status, 33 -> 34 connected time (u32 managed,
                u32 online, i32 time, i32 n, address); 45 update result (u32 0 ok, 1 failed)

The process is named daemon-sim, so that whoever counts the copies of wardlet by process
name does not count the simulator.
)";

int signalPipe[2] = {-1, -1};

void forwardSignal(int)
{
    const char byte = 0;
    // A full pipe already holds a pending quit.
    ::send(signalPipe[1], &byte, 1, MSG_DONTWAIT | MSG_NOSIGNAL);
}

bool installSignalHandlers()
{
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, signalPipe) != 0)
        return false;
    struct sigaction action = {};
    action.sa_handler = forwardSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    // Writes to a tray that went away must fail, not end the simulator; so must a closed stdout.
    std::signal(SIGPIPE, SIG_IGN);
    // The tray's wake-up call, should it ever reach the simulator.
    std::signal(SIGUSR2, SIG_IGN);
    return true;
}

// A closed standard input reads as an empty one; left closed, descriptor 0 would go to the
// first socket opened and be taken for the terminal.
void occupyStdin()
{
    struct stat info;
    if (::fstat(STDIN_FILENO, &info) == 0)
        return;
    const int fd = ::open("/dev/null", O_RDONLY);
    if (fd != -1 && fd != STDIN_FILENO)
        ::close(fd);
}

} // namespace

int main(int argc, char* argv[])
{
    occupyStdin();
    QCoreApplication app(argc, argv);

    QString script;
    QByteArray kvsName;
    QByteArray pdxName;
    bool readStdin = true;
    const QStringList arguments = QCoreApplication::arguments().mid(1);
    for (int i = 0; i < arguments.size(); ++i) {
        QString option = arguments[i];
        QString value;
        const bool inlineValue = option.startsWith(QLatin1String("--")) && option.contains(QLatin1Char('='));
        if (inlineValue) {
            value = option.section(QLatin1Char('='), 1);
            option = option.section(QLatin1Char('='), 0, 0);
        }
        const bool takesValue = option == QLatin1String("--suffix") || option == QLatin1String("--kvs-name")
            || option == QLatin1String("--pdx-name") || option == QLatin1String("--script");
        if (inlineValue && !takesValue) {
            Console::error(QStringLiteral("unknown option %1 (see --help)").arg(arguments[i]));
            return 2;
        }
        if (takesValue && !inlineValue) {
            if (i + 1 == arguments.size()) {
                Console::error(option + QStringLiteral(" needs a value (see --help)"));
                return 2;
            }
            value = arguments[++i];
        }
        if (option == QLatin1String("--help")) {
            std::fputs(helpText, stdout);
            return 0;
        } else if (option == QLatin1String("--suffix")) {
            qputenv("WARDLET_SOCKET_SUFFIX", value.toUtf8());
        } else if (option == QLatin1String("--kvs-name")) {
            kvsName = value.toUtf8();
        } else if (option == QLatin1String("--pdx-name")) {
            pdxName = value.toUtf8();
        } else if (option == QLatin1String("--script")) {
            script = value;
        } else if (option == QLatin1String("--no-stdin")) {
            readStdin = false;
        } else if (option == QLatin1String("--quiet")) {
            Console::setQuiet(true);
        } else if (option == QLatin1String("--verbose")) {
            Console::setVerbose(true);
        } else {
            Console::error(QStringLiteral("unknown option %1 (see --help)").arg(arguments[i]));
            return 2;
        }
    }
    if (kvsName.isEmpty())
        kvsName = ChannelAddress::name(Channel::ScanDaemon);
    if (pdxName.isEmpty())
        pdxName = ChannelAddress::name(Channel::Management);

    if (!installSignalHandlers()) {
        Console::error(QStringLiteral("cannot set up signal handling"));
        return 1;
    }
    QSocketNotifier signalNotifier(signalPipe[0], QSocketNotifier::Read);
    QObject::connect(&signalNotifier, &QSocketNotifier::activated, &app, &QCoreApplication::quit);

    DaemonSimulator simulator(kvsName, pdxName);
    CommandRunner runner(&simulator);
    QObject::connect(&runner, &CommandRunner::finished, &app, &QCoreApplication::quit);
    if (!script.isEmpty()) {
        QString error;
        if (!runner.loadScript(script, error)) {
            Console::error(error);
            return 1;
        }
    }
    if (!simulator.start())
        return 1;
    if (readStdin)
        runner.followStdin();
    runner.start();
    return app.exec();
}
