// SPDX-License-Identifier: Apache-2.0
/// @file
/// How asynchronous calls ended.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <httpclient/Result.h>

/// Notes the outcomes of calls. Copies share the notes. Safe from any thread.
class Ends {
public:
    /// @return a function for Client::Start(), which notes the outcome under a name.
    std::function<void(httpclient::Result)> Of(std::string name = "call");
    /// Waits for so many outcomes in all. @return whether they came, within patience.
    bool Wait(std::size_t count = 1) const;
    std::size_t Count() const;
    /// Waits for the outcome of a name. @return it as Told() has it.
    std::string Told(const std::string& name = "call") const;
    /// Forgets what a name's outcomes said; they still count.
    void Forget(const std::string& name);
    /// @return how many outcomes say this.
    std::size_t CountOf(const std::string& told) const;

private:
    struct Entry {
        std::string name;
        std::string told;
    };
    struct State {
        std::mutex lock;
        std::condition_variable changed;
        std::vector<Entry> entries;
        std::size_t forgotten = 0;
    };
    std::shared_ptr<State> m_state = std::make_shared<State>();
};
