#include "Feeder.h"

#include "messaging/ChannelAddress.h"
#include "messaging/MessageIds.h"

#include <QtEndian>

#include <sys/socket.h>
#include <unistd.h>

namespace {

int listenOn(Channel channel)
{
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_un address = ChannelAddress::address(ChannelAddress::name(channel));
    if (fd == -1 || ::bind(fd, reinterpret_cast<const sockaddr*>(&address), ChannelAddress::Length) != 0
        || ::listen(fd, 2) != 0) {
        if (fd != -1)
            ::close(fd);
        return -1;
    }
    return fd;
}

bool writeAll(int fd, const unsigned char* bytes, size_t size)
{
    while (size > 0) {
        const ssize_t n = ::write(fd, bytes, size);
        if (n <= 0)
            return false;
        bytes += n;
        size -= size_t(n);
    }
    return true;
}

// The management client's answer that makes the program self-managed, so the tray picture
// follows the scanner alone.
std::vector<unsigned char> selfManagedFrame()
{
    std::vector<unsigned char> frame(40, 0);
    qToBigEndian<quint32>(3, frame.data() + 4);
    qToBigEndian<quint32>(1, frame.data() + 12);
    qToBigEndian<quint32>(20, frame.data() + 16);
    qToBigEndian<quint32>(PdxServerStatusReport, frame.data() + 20);
    return frame;
}

} // namespace

Feeder::Feeder()
{
    m_listeners[0] = listenOn(Channel::ScanDaemon);
    m_listeners[1] = listenOn(Channel::Management);
    if (isListening())
        m_thread = std::thread(&Feeder::run, this);
}

Feeder::~Feeder()
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_stopping = true;
    }
    m_wake.notify_all();
    // A thread still waiting for the program in accept() is woken by the listeners' shutdown.
    for (const int fd : m_listeners) {
        if (fd != -1)
            ::shutdown(fd, SHUT_RDWR);
    }
    if (m_thread.joinable())
        m_thread.join();
    for (const int fd : {m_listeners[0], m_listeners[1], m_scanDaemon, m_management}) {
        if (fd != -1)
            ::close(fd);
    }
}

void Feeder::write(const std::vector<unsigned char>& bytes)
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_job = &bytes;
        m_busy = true;
    }
    m_wake.notify_all();
}

bool Feeder::done()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return !m_busy;
}

void Feeder::run()
{
    m_scanDaemon = ::accept4(m_listeners[0], nullptr, nullptr, SOCK_CLOEXEC);
    m_management = ::accept4(m_listeners[1], nullptr, nullptr, SOCK_CLOEXEC);
    const std::vector<unsigned char> selfManaged = selfManagedFrame();
    if (m_management != -1)
        writeAll(m_management, selfManaged.data(), selfManaged.size());
    for (;;) {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_wake.wait(lock, [this] { return m_stopping || m_job; });
        if (m_stopping)
            return;
        const std::vector<unsigned char>* job = m_job;
        m_job = nullptr;
        lock.unlock();

        const Clock::time_point started = Clock::now();
        if (m_scanDaemon != -1)
            writeAll(m_scanDaemon, job->data(), job->size());
        const Clock::time_point ended = Clock::now();

        lock.lock();
        m_started = started;
        m_ended = ended;
        m_busy = false;
    }
}
