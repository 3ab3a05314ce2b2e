// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include <ace/Pipe.h>
#include <ace/SOCK_Acceptor.h>

namespace demo {

/// Stands between a client and a server on this machine and writes down every byte that passes.
///
/// A byte is written down before it is passed on: who has got an answer finds it in the record, together with
/// its question. Runs on one thread of its own from construction to destruction, which closes what is open.
class RecordingRelay {
public:
    struct Traffic {
        std::string sent;     ///< by the client
        std::string received; ///< from the server
    };

    /// @param serverPort on 127.0.0.1, where everything is passed on to.
    /// @throw std::runtime_error when it cannot listen.
    explicit RecordingRelay(int serverPort);
    ~RecordingRelay();
    RecordingRelay(const RecordingRelay&) = delete;
    RecordingRelay& operator=(const RecordingRelay&) = delete;

    /// Where clients connect to, on 127.0.0.1.
    int Port() const { return m_port; }
    /// What passed since the last call. Safe from any thread.
    Traffic Take();
    /// How many connections clients have made so far. Safe from any thread.
    int Connections() const { return m_connections; }
    /// How many of them are open. Safe from any thread.
    int OpenConnections() const { return m_open; }

private:
    struct Line;

    void Run();
    void Accept();
    /// @return false when this line is at its end.
    bool PassOn(Line& line, short clientEvents, short serverEvents);

    const int m_serverPort;
    int m_port = 0;
    ACE_SOCK_Acceptor m_acceptor;
    ACE_Pipe m_stop;
    std::list<std::unique_ptr<Line>> m_lines;
    std::atomic<int> m_connections{0};
    std::atomic<int> m_open{0};
    std::mutex m_mutex; ///< guards m_traffic
    Traffic m_traffic;
    std::thread m_thread;
};

} // namespace demo
