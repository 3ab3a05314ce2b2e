// SPDX-License-Identifier: Apache-2.0
/// @file
/// A relay between client and server that does to the bytes what a bad network does.
#pragma once

#include <atomic>
#include <cstddef>
#include <functional>
#include <string>
#include <thread>

/// What happens to the bytes of one direction.
struct Way {
    static constexpr std::size_t NEVER = static_cast<std::size_t>(-1);
    enum class Cut {
        Reset, ///< both connections are reset
        End    ///< the receiver is told the end of this direction; the other one goes on
    };

    std::size_t cutAt = NEVER; ///< after so many bytes have passed
    Cut cut = Cut::Reset;
    std::size_t piece = 65536; ///< at most so many bytes are passed on at once
    int pause = 0;             ///< milliseconds between two pieces
};

/// What happens to a connection.
struct Faults {
    Way up;   ///< from the client to the server
    Way down; ///< from the server to the client
};

/// Listens on 127.0.0.1, and connects each client to a server there. One thread.
class Relay {
public:
    /// @param port of the server. @param faults of the connection of this number, counted from 1; called on the
    ///        relay's thread.
    Relay(unsigned short port, std::function<Faults(unsigned number)> faults);
    /// Closes every connection.
    ~Relay();
    Relay(const Relay&) = delete;
    Relay& operator=(const Relay&) = delete;

    unsigned short port() const { return m_port; }
    std::string authority() const { return "127.0.0.1:" + std::to_string(m_port); }
    unsigned accepted() const { return m_accepted; }
    /// @return how many cuts have reached both ends.
    unsigned cuts() const { return m_cuts; }

private:
    struct Connection;
    void Run();

    const unsigned short m_serverPort;
    const std::function<Faults(unsigned)> m_faults;
    unsigned short m_port = 0; // before the listener, which sets it
    int m_listener = -1;
    int m_stop[2] = {-1, -1};
    std::atomic<unsigned> m_accepted{0};
    std::atomic<unsigned> m_cuts{0};
    std::thread m_thread;
};
