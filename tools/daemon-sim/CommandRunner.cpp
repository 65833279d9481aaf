#include "CommandRunner.h"

#include "CommandLine.h"
#include "Console.h"
#include "DaemonSimulator.h"
#include "SimChannel.h"

#include <QFile>
#include <QSocketNotifier>
#include <QTimer>

#include <cerrno>
#include <climits>
#include <unistd.h>

CommandRunner::CommandRunner(DaemonSimulator* simulator, QObject* parent)
    : QObject(parent)
    , m_simulator(simulator)
    , m_commands(simulator)
{
    connect(m_simulator, &DaemonSimulator::connectionChanged, this, [this] {
        const SimChannel* channel = m_simulator->channel(m_awaitedChannel);
        if (channel && channel->isConnected()) {
            m_awaitedChannel.clear();
            // Not from inside the channel's own signal: the next commands may drop it again.
            QTimer::singleShot(0, this, &CommandRunner::resume);
        }
    });
}

bool CommandRunner::loadScript(const QString& path, QString& error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) {
        error = QStringLiteral("%1: %2").arg(path, file.errorString());
        return false;
    }
    int number = 0;
    while (!file.atEnd()) {
        const QString text = QString::fromUtf8(file.readLine()).trimmed();
        ++number;
        m_pending.append({text, QStringLiteral("%1:%2").arg(path).arg(number)});
    }
    return true;
}

void CommandRunner::followStdin()
{
    m_followsStdin = true;
    m_stdinNotifier = new QSocketNotifier(STDIN_FILENO, QSocketNotifier::Read, this);
    connect(m_stdinNotifier, &QSocketNotifier::activated, this, &CommandRunner::readStdin);
}

void CommandRunner::start()
{
    QTimer::singleShot(0, this, &CommandRunner::run);
}

void CommandRunner::readStdin()
{
    // One read per wake-up cannot block: the notifier only fires once there is something.
    char buffer[4096];
    const ssize_t n = ::read(STDIN_FILENO, buffer, sizeof buffer);
    if (n == -1 && (errno == EINTR || errno == EAGAIN))
        return;
    if (n > 0) {
        m_stdinBuffer.append(buffer, int(n));
    } else {
        m_stdinEnded = true;
        m_stdinNotifier->setEnabled(false);
        // A last line without its newline still counts.
        if (!m_stdinBuffer.isEmpty())
            m_stdinBuffer.append('\n');
    }
    int newline;
    while ((newline = m_stdinBuffer.indexOf('\n')) != -1) {
        m_pending.append({QString::fromUtf8(m_stdinBuffer.left(newline)).trimmed(), QString()});
        m_stdinBuffer.remove(0, newline + 1);
    }
    run();
}

void CommandRunner::resume()
{
    m_paused = false;
    run();
}

void CommandRunner::run()
{
    while (!m_paused && !m_finished && !m_pending.isEmpty()) {
        if (!runLine(m_pending.takeFirst()))
            return;
    }
    if (!m_paused && !m_finished && m_pending.isEmpty() && m_followsStdin && m_stdinEnded) {
        m_finished = true;
        emit finished();
    }
}

bool CommandRunner::runLine(const Line& line)
{
    QStringList words;
    QString error;
    if (!CommandLine::split(line.text, words, error)) {
        reportError(line, error);
        return true;
    }
    if (words.isEmpty())
        return true;
    const QString& command = words[0];
    if (command == QLatin1String("quit")) {
        m_finished = true;
        emit finished();
        return false;
    }
    if (command == QLatin1String("sleep")) {
        bool ok = false;
        const qlonglong ms = words.value(1).toLongLong(&ok);
        if (words.size() != 2 || !ok || ms < 0 || ms > INT_MAX) {
            reportError(line, QStringLiteral("usage: sleep MILLISECONDS"));
            return true;
        }
        m_paused = true;
        // A coarse timer may end a long sleep early; scripts count on waiting at least this long.
        QTimer::singleShot(int(ms), Qt::PreciseTimer, this, &CommandRunner::resume);
        return false;
    }
    if (command == QLatin1String("wait-connected")) {
        const SimChannel* channel = m_simulator->channel(words.value(1));
        if (words.size() != 2 || !channel) {
            reportError(line, QStringLiteral("usage: wait-connected kvs|pdx"));
            return true;
        }
        if (channel->isConnected())
            return true;
        m_paused = true;
        m_awaitedChannel = channel->label();
        return false;
    }
    error = m_commands.execute(words);
    if (!error.isEmpty())
        reportError(line, error);
    return true;
}

void CommandRunner::reportError(const Line& line, const QString& message)
{
    Console::error(line.origin.isEmpty() ? message : line.origin + QStringLiteral(": ") + message);
}
