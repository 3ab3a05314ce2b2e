// SPDX-License-Identifier: Apache-2.0
/// @file
/// Stands before getaddrinfo(): link NameService.cpp.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <map>
#include <mutex>
#include <string>
#include <vector>

/// Answers look-ups as a test says while it lives. Names that it does not know are unknown.
class NameService {
public:
    NameService();
    ~NameService(); ///< lets everything go that it holds, and waits for it
    NameService(const NameService&) = delete;
    NameService& operator=(const NameService&) = delete;

    /// Has a name found at these addresses.
    void Set(const std::string& name, std::vector<std::string> addresses);
    /// Has a look-up fail.
    void Fail(const std::string& name, int error);
    /// Holds look-ups of a name, from the next one on.
    void Hold(const std::string& name);
    void Release(const std::string& name);

    /// How many look-ups of a name have begun.
    std::size_t Asked(const std::string& name) const;
    /// How many are being answered at this moment.
    std::size_t Inside() const;
    /// Waits until so many look-ups of a name have begun. @return whether they have.
    bool WaitForAsked(const std::string& name, std::size_t count) const;
    /// What the signal mask of the last asking thread held back: whether SIGTERM and SIGUSR1 are in it.
    bool SignalsBlocked() const;

    /// @cond INTERNAL
    struct Script {
        std::vector<std::string> addresses;
        int error = 0;
        bool held = false;
        std::size_t asked = 0;
    };
    /// @return the one that lives, which then waits for the answer to be given; null: none.
    static NameService* Enter();
    int Answer(const std::string& name, std::vector<std::string>& addresses);
    /// @endcond

private:
    mutable std::mutex m_lock;
    mutable std::condition_variable m_changed;
    std::map<std::string, Script> m_scripts;
    std::size_t m_inside = 0;
    bool m_blocked = false;
};
