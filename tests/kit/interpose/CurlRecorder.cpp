// SPDX-License-Identifier: Apache-2.0
#include "interpose/CurlRecorder.h"

#include <algorithm>
#include <iterator>

#include "interpose/CurlLedger.h"

namespace httpclient::testing {

CurlLedger& CurlLedger::Instance() {
    static auto* const ledger =
        new CurlLedger; // never destroyed: threads may use libcurl until the process ends
    return *ledger;
}

thread_local int WithinLibcurl::m_depth = 0;

void CurlLedger::Begin() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_events.clear();
    m_counts.clear();
    m_forced.clear();
    m_forcedOptions.clear();
    m_hooks.clear();
    m_held = true;
}

void CurlLedger::End() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_held = false;
}

void CurlLedger::Clear() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_events.clear();
}

void CurlLedger::Force(CurlCall call, int result, std::size_t n) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_forced[{call, m_counts[call] + n}] = result;
}

void CurlLedger::ForceOption(CURLoption option, CURLcode result) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (result == CURLE_OK) {
        m_forcedOptions.erase(option);
    } else {
        m_forcedOptions[option] = result;
    }
}

std::vector<CurlEvent> CurlLedger::Events() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_events;
}

std::optional<int> CurlLedger::Forced(CurlCall call) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (!m_held || WithinLibcurl::Now()) {
        return std::nullopt;
    }
    const auto forced = m_forced.find({call, ++m_counts[call]});
    return forced != m_forced.end() ? std::optional<int>(forced->second) : std::nullopt;
}

std::optional<int> CurlLedger::ForcedOption(CURLoption option) {
    const auto byNumber = Forced(CurlCall::EasySetopt);
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto forced = m_forcedOptions.find(option);
    const bool held = m_held && !WithinLibcurl::Now();
    return byNumber || !held || forced == m_forcedOptions.end() ? byNumber
                                                                : std::optional<int>(forced->second);
}

void CurlLedger::MakeRoom() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_events.size() == m_events.capacity()) {
        m_events.reserve(2 * m_events.size() + 16);
    }
}

void CurlLedger::At(CurlCall call, std::function<void()> hook) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_hooks[call] = std::move(hook);
}

void CurlLedger::Note(CurlEvent event) {
    const std::function<void()>* hook = nullptr;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (!m_held || WithinLibcurl::Now()) {
            return;
        }
        const auto entry = m_hooks.find(event.call);
        hook = entry != m_hooks.end() ? &entry->second : nullptr;
        event.thread = std::this_thread::get_id();
        m_events.push_back(std::move(event));
    }
    if (hook != nullptr) {
        (*hook)();
    }
}

CurlRecorder::CurlRecorder() {
    CurlLedger::Instance().Begin();
}

CurlRecorder::~CurlRecorder() {
    CurlLedger::Instance().End();
}

void CurlRecorder::Force(CurlCall call, int result, std::size_t n) {
    CurlLedger::Instance().Force(call, result, n);
}

void CurlRecorder::ForceOption(CURLoption option, CURLcode result) {
    CurlLedger::Instance().ForceOption(option, result);
}

void CurlRecorder::At(CurlCall call, std::function<void()> hook) {
    CurlLedger::Instance().At(call, std::move(hook));
}

void CurlRecorder::Clear() {
    CurlLedger::Instance().Clear();
}

std::vector<CurlEvent> CurlRecorder::Events() const {
    return CurlLedger::Instance().Events();
}

std::vector<CurlEvent> CurlRecorder::Events(CurlCall call) const {
    std::vector<CurlEvent> events;
    for (CurlEvent& event : Events()) {
        if (event.call == call) {
            events.push_back(std::move(event));
        }
    }
    return events;
}

std::vector<CURLoption> CurlRecorder::Options() const {
    const std::vector<CurlEvent> settings = Events(CurlCall::EasySetopt);
    std::vector<CURLoption> options;
    std::transform(settings.begin(), settings.end(), std::back_inserter(options),
                   [](const CurlEvent& event) { return event.option; });
    return options;
}

std::optional<CurlEvent> CurlRecorder::Last(CURLoption option) const {
    const std::vector<CurlEvent> settings = Events(CurlCall::EasySetopt);
    const auto last = std::find_if(settings.rbegin(), settings.rend(),
                                   [option](const CurlEvent& event) { return event.option == option; });
    return last != settings.rend() ? std::optional<CurlEvent>(*last) : std::nullopt;
}

} // namespace httpclient::testing
