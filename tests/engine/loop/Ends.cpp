// SPDX-License-Identifier: Apache-2.0
#include "loop/Ends.h"

#include <algorithm>

#include <httpclient/testing/Patience.h>

#include "setting/Outcomes.h"

using httpclient::testing::PATIENCE;

std::function<void(httpclient::Result)> Ends::Of(std::string name) {
    return [state = m_state, name = std::move(name)](const httpclient::Result& result) {
        const std::lock_guard<std::mutex> lock(state->lock);
        state->entries.push_back({name, ::Told(result)});
        state->changed.notify_all();
    };
}

bool Ends::Wait(std::size_t count) const {
    std::unique_lock<std::mutex> lock(m_state->lock);
    return m_state->changed.wait_for(lock, PATIENCE,
                                     [&] { return m_state->entries.size() + m_state->forgotten >= count; });
}

std::size_t Ends::Count() const {
    const std::lock_guard<std::mutex> lock(m_state->lock);
    return m_state->entries.size() + m_state->forgotten;
}

std::string Ends::Told(const std::string& name) const {
    std::unique_lock<std::mutex> lock(m_state->lock);
    std::string told = "nothing";
    m_state->changed.wait_for(lock, PATIENCE, [&] {
        const auto entry = std::find_if(m_state->entries.begin(), m_state->entries.end(),
                                        [&](const Entry& one) { return one.name == name; });
        if (entry == m_state->entries.end()) {
            return false;
        }
        told = entry->told;
        return true;
    });
    return told;
}

std::size_t Ends::CountOf(const std::string& told) const {
    const std::lock_guard<std::mutex> lock(m_state->lock);
    return static_cast<std::size_t>(std::count_if(m_state->entries.begin(), m_state->entries.end(),
                                                  [&](const Entry& one) { return one.told == told; }));
}

void Ends::Forget(const std::string& name) {
    const std::lock_guard<std::mutex> lock(m_state->lock);
    const auto kept = std::remove_if(m_state->entries.begin(), m_state->entries.end(),
                                     [&](const Entry& one) { return one.name == name; });
    m_state->forgotten += static_cast<std::size_t>(m_state->entries.end() - kept);
    m_state->entries.erase(kept, m_state->entries.end());
}
