// SPDX-License-Identifier: Apache-2.0
/// @file
/// Sixteen threads that send whatever the library can send.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

class Servers;

/// How the requests went.
struct Counts {
    std::atomic<std::uint64_t> answered{0};   ///< as they should
    std::atomic<std::uint64_t> provoked{0};   ///< failed: the server was told to break them
    std::atomic<std::uint64_t> disturbed{0};  ///< failed while the servers were being restarted
    std::atomic<std::uint64_t> unexpected{0}; ///< failed, or were answered wrongly, for no such reason
    std::atomic<std::uint64_t> renewed{0};    ///< answered although a token was refused, with another one
};

/// Sends from its construction to Stop().
class Traffic {
public:
    /// @param pause of each thread after each request, on average.
    Traffic(const Servers& servers, std::chrono::milliseconds pause);
    ~Traffic();
    Traffic(const Traffic&) = delete;
    Traffic& operator=(const Traffic&) = delete;

    const Counts& counts() const { return m_counts; }
    /// @return the first unexpected outcomes, in words.
    std::vector<std::string> surprises() const;
    /// Stops sending, and waits for what is under way. @return whether all of it ended.
    bool Stop();

private:
    struct Plan;

    void Run(unsigned int seed);
    void SendOne(unsigned int dice);
    void SendAndCompare(const Plan& plan);
    void SendAsynchronously(const Plan& plan);
    void Note(const std::string& what, bool good, bool provoked);
    static void OnAnswer(const class CHttpResponse& response);

    const Servers& m_servers;
    const std::chrono::milliseconds m_pause;
    Counts m_counts;
    std::atomic<int> m_underWay{0};
    std::atomic<bool> m_stop{false};
    mutable std::mutex m_mutex;
    std::vector<std::string> m_surprises;
    std::vector<std::thread> m_threads;

    static Traffic* m_current; // callbacks know nothing else
};
