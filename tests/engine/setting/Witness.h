// SPDX-License-Identifier: Apache-2.0
/// @file
/// An observer that notes what it is told.
#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <httpclient/Observer.h>

#include "setting/Outcomes.h"

/// Notes each event: "Start GET /path", "Attempt 1: 503", "End 2: Timeout in Head". Safe from any thread.
class Witness final : public httpclient::Observer {
public:
    using Act = std::function<void(httpclient::Event, httpclient::CallView&)>;

    /// @param act what it does besides, after it has noted.
    explicit Witness(Act act = {}) : m_act(std::move(act)) {}

    void OnEvent(httpclient::Event event, httpclient::CallView& call) override {
        {
            const std::lock_guard<std::mutex> lock(m_lock);
            m_notes.push_back(NoteOf(event, call));
            m_threads.push_back(std::this_thread::get_id());
        }
        if (m_act) {
            m_act(event, call);
        }
    }
    std::vector<std::string> notes() const {
        const std::lock_guard<std::mutex> lock(m_lock);
        return m_notes;
    }
    std::vector<std::thread::id> threads() const {
        const std::lock_guard<std::mutex> lock(m_lock);
        return m_threads;
    }

private:
    static std::string NoteOf(httpclient::Event event, const httpclient::CallView& call) {
        if (event == httpclient::Event::Start) {
            return "Start " + std::string(ToString(call.method())) + " " + std::string(call.target());
        }
        const std::string outcome =
            call.failure() == nullptr
                ? std::to_string(call.status())
                : std::string(ToString(call.failure()->kind())) + " in " + ToString(call.failure()->phase());
        return (event == httpclient::Event::Attempt ? "Attempt " : "End ") + std::to_string(call.attempt()) +
               ": " + outcome;
    }

    const Act m_act;
    mutable std::mutex m_lock;
    std::vector<std::string> m_notes;
    std::vector<std::thread::id> m_threads;
};
