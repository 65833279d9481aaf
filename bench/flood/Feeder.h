#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

// Stands in for both daemons on their full-length abstract addresses and writes from a thread
// of its own, so the program under test reads real sockets while its event loop runs.
class Feeder final
{
public:
    using Clock = std::chrono::steady_clock;

    // Listens at once on the names the program will use; the thread accepts both channels,
    // tells the program it is self-managed, then writes whatever write() hands it.
    Feeder();
    ~Feeder();
    Feeder(const Feeder&) = delete;
    Feeder& operator=(const Feeder&) = delete;

    bool isListening() const { return m_listeners[0] != -1 && m_listeners[1] != -1; }
    // Queues bytes for the scan daemon's connection and returns at once; bytes must stay alive
    // until done() is true.
    void write(const std::vector<unsigned char>& bytes);
    bool done();
    // When the last write began and when its last byte went into the socket.
    Clock::time_point started() const { return m_started; }
    Clock::time_point ended() const { return m_ended; }

private:
    void run();

    int m_listeners[2] = {-1, -1};
    int m_scanDaemon = -1;
    int m_management = -1;
    std::mutex m_mutex;
    std::condition_variable m_wake;
    const std::vector<unsigned char>* m_job = nullptr;
    bool m_busy = false;
    bool m_stopping = false;
    Clock::time_point m_started;
    Clock::time_point m_ended;
    std::thread m_thread;
};
