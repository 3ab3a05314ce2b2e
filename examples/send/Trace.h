// SPDX-License-Identifier: Apache-2.0
/// @file
/// What --trace prints: the calls as the engine's observer sees them.
#pragma once

#include <iosfwd>
#include <mutex>

#include <httpclient/Observer.h>

namespace sender {

/// Prints a line for each event of a call.
class TracePrinter final : public httpclient::Observer {
public:
    /// @param out outlives the observer.
    explicit TracePrinter(std::ostream& out) : m_out(out) {}

    void OnEvent(httpclient::Event event, httpclient::CallView& call) override;

private:
    std::mutex m_lock; ///< of the stream: calls run on several threads
    std::ostream& m_out;
};

} // namespace sender
