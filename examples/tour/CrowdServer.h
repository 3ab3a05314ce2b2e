// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <memory>
#include <thread>

namespace tour {

/// A server for thousands of connections on one thread: it answers each request "here" after a pause. The demonstration
/// server has a thread for each connection, and few of them.
class CrowdServer {
public:
    /// @throw std::runtime_error when it cannot listen on 127.0.0.1.
    explicit CrowdServer(std::chrono::milliseconds pause);
    ~CrowdServer();
    CrowdServer(const CrowdServer&) = delete;
    CrowdServer& operator=(const CrowdServer&) = delete;

    int Port() const;

private:
    struct Parts;
    std::unique_ptr<Parts> m_parts;
    std::thread m_thread;
};

} // namespace tour
