// SPDX-License-Identifier: Apache-2.0
/// @file
/// A logging service that remembers. Linking httpclient::testing_trace into an executable puts it in the
/// place of the platform's Ovexcommon::TraceClient, for every library of the process.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <httpclient/testing/Patience.h>

namespace httpclient::testing {

/// A message that was logged.
struct TracedMessage {
    int level = 0;          ///< 2 detail, 3 progress, 5 error.
    int module = 0;         ///< The module that logged it; the library is 1.
    std::string body;       ///< The text.
    std::thread::id thread; ///< The thread that logged it.
};

/// Remembers every message that was logged, in order.
///
/// Lives until the process ends, so a thread may log as late as it likes.
///
/// @par Thread Safety
/// Safe from any number of threads.
class TraceRecorder {
public:
    /// @return the process's recorder.
    static TraceRecorder& Instance();

    /// Sets the lowest level that checkValid() lets through; 0, everything, at the start. What is traced
    /// without asking is recorded all the same, so that a test can see it.
    void SetLowestLevel(int level);
    /// Sets whether messages also go to standard error; not so at the start.
    void MirrorToStandardError(bool mirror);
    /// Forgets the messages and counts; the lowest level stays.
    void Clear();

    /// @return the messages so far, in order.
    std::vector<TracedMessage> Messages() const;
    /// @return the texts of the messages of a level, in order.
    std::vector<std::string> Texts(int level) const;
    /// @return how many messages of this level have exactly this text.
    std::size_t Count(int level, const std::string& text) const;
    /// @return how many messages of any level contain this text.
    std::size_t CountContaining(const std::string& part) const;
    /// @return how many texts were formatted, whether traced or not.
    std::size_t Formatted() const;
    /// Waits until a message of this level and exactly this text has been logged. @return whether it was.
    bool WaitFor(int level, const std::string& text, std::chrono::milliseconds timeout = PATIENCE) const;

    /// @cond INTERNAL
    bool Lets(int level) const;
    void CountFormatted();
    void Record(int level, int module, const std::string& body);
    /// @endcond

private:
    TraceRecorder() = default;
    std::size_t CountLocked(int level, const std::string& text) const;

    std::atomic<int> m_lowestLevel{0};
    std::atomic<bool> m_mirror{false};
    std::atomic<std::size_t> m_formatted{0};
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    std::vector<TracedMessage> m_messages;
};

} // namespace httpclient::testing
