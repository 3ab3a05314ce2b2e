// SPDX-License-Identifier: Apache-2.0
/// @file
/// Counts the fallible calls of a scenario, and makes one of them fail.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

/// What can fail.
enum class Fault : unsigned char {
    Memory,     ///< malloc(), calloc(), realloc(), operator new
    Descriptor, ///< files, sockets, pipes, epoll
    Thread,     ///< pthread_create()
    CurlHandle, ///< curl_easy_init(), curl_multi_init()
    CurlOption, ///< curl_easy_setopt()
    CurlList,   ///< curl_slist_append()
    Iconv,      ///< iconv_open(), which libiconv_open() opens its two halves with
    Network, ///< connect(), sendmsg(), recv(), poll(), epoll_ctl(), look-ups and the like say that something is wrong
    Interruption, ///< those of them that wait are interrupted by a signal
    OpenSsl,      ///< the functions of OpenSSL that the engine calls
};

/// Kinds of calls, together.
using Faults = unsigned;
constexpr Faults Only(Fault fault) {
    return 1U << static_cast<unsigned>(fault);
}
/// What a process can run out of.
constexpr Faults RESOURCES = Only(Fault::Network) - 1;

/// @return a kind's name.
const char* NameOf(Fault fault);

/// Whose memory may fail.
enum class MemoryOf {
    Everybody,
    AllButAce ///< ACE goes on with null pointers when an allocation of its own fails, and crashes.
};

/// While it lives, counts the fallible calls of the thread that made it and of the threads which that
/// one starts, and makes one fail. Other threads, those of the test servers above all, are left alone.
/// One at a time. Only the calls of the kinds that it is about count.
///
/// Afterwards, and until the next one is made, it is known which of the memory that was allocated
/// is still there.
class FaultPlan {
public:
    /// @param failing which call fails, counted from 1; 0 for none.
    explicit FaultPlan(std::size_t failing = 0, MemoryOf memory = MemoryOf::Everybody);
    /// @param about the kinds. @param variant which of the errors that a call may have, where it may have several.
    FaultPlan(std::size_t failing, Faults about, unsigned variant);
    ~FaultPlan();
    FaultPlan(const FaultPlan&) = delete;
    FaultPlan& operator=(const FaultPlan&) = delete;

    /// From now on nothing fails.
    void Relent() const;
    /// How many there were, the failed one included.
    std::size_t Count() const;
    /// The kinds of the first calls (some ten thousand), in order.
    std::vector<Fault> Kinds() const;

    /// Waits for the end of the threads that were started under the last plan, and under it. @return whether
    /// they ended.
    static bool WaitForThreads();
    /// How many blocks are still there that were allocated under the last plan, by others than
    /// OpenSSL, which loses some of its own when its memory fails, and the loader, which keeps that of ended threads
    /// for others. Always 0 under a sanitizer, which looks
    /// for leaks by itself.
    static std::size_t LiveBlocks();
    /// How many of them ACE itself allocated.
    static std::size_t LiveBlocksOfAce();
    /// Who allocated them: some addresses as text, for a debugger.
    static std::string DescribeLiveBlocks();
};

/// While it lives, the calls of this thread are not counted: those of the test itself.
class WithoutFaults {
public:
    WithoutFaults();
    ~WithoutFaults();
    WithoutFaults(const WithoutFaults&) = delete;
    WithoutFaults& operator=(const WithoutFaults&) = delete;
};
