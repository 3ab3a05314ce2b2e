// SPDX-License-Identifier: Apache-2.0
/// @file
/// A server whose every step a test writes down, for what a well-behaved one never does.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

/// Something that a test waits for, once.
class Moment {
public:
    void Come();
    /// @return whether it came, within patience.
    bool Wait();
    bool HasCome();

private:
    std::mutex m_lock;
    std::condition_variable m_changed;
    bool m_came = false;
};

/// One connection of a scripted server. Used on its thread alone.
class Peer {
public:
    Peer(int fd, unsigned int number) : m_fd(fd), m_number(number) {}

    int fd() const { return m_fd; }
    /// Which connection of the server it is, counted from 1.
    unsigned int number() const { return m_number; }
    /// What was received so far.
    const std::string& received() const { return m_received; }
    /// Receives until a text has come since the last Expect(). @return whether it came.
    bool Expect(std::string_view text);
    /// Receives until so many bytes have come in all. @return whether they did.
    bool ExpectBytes(std::size_t count);
    /// Receives until the client ends the connection.
    void ExpectEnd();
    /// Receives until nothing has come for so many milliseconds, or so many bytes have in all.
    void ReceiveUntilQuiet(int milliseconds, std::size_t most);
    void Send(std::string_view bytes) const;
    /// Ends the connection with a reset when the script ends.
    void Reset() const;
    /// Sends the end, and goes on receiving.
    void EndSending() const;

private:
    bool ReceiveMore();

    const int m_fd;
    const unsigned int m_number;
    std::string m_received;
    std::size_t m_seen = 0;
};

/// Listens on 127.0.0.1. Each connection follows the script on a thread of its own, and is closed at its end.
class ScriptedServer {
public:
    using Script = std::function<void(Peer&)>;

    /// @param receiveBuffer of its sockets, in bytes; 0: the system's.
    explicit ScriptedServer(Script script, int receiveBuffer = 0);
    /// Ends every connection, and joins every thread.
    ~ScriptedServer();
    ScriptedServer(const ScriptedServer&) = delete;
    ScriptedServer& operator=(const ScriptedServer&) = delete;

    std::string origin() const { return "http://127.0.0.1:" + std::to_string(m_port); }
    unsigned short port() const { return m_port; }
    unsigned int accepted() const;
    /// @return what each ended connection has received, in the order of their ends.
    std::vector<std::string> received() const;
    /// Waits until so many connections have ended. @return whether they did.
    bool WaitForEnds(std::size_t count) const;

private:
    void Listen();
    void Serve(int fd, unsigned int number);

    const Script m_script;
    int m_listener = -1;
    unsigned short m_port = 0;
    mutable std::mutex m_lock;
    mutable std::condition_variable m_changed;
    bool m_stopped = false;
    unsigned int m_accepted = 0;
    std::vector<int> m_open;
    std::vector<std::string> m_received;
    std::vector<std::thread> m_threads;
    std::thread m_listening;
};
