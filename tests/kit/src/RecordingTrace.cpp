// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstdio>

#include <httpclient/testing/RecordingTrace.h>

namespace httpclient::testing {

TraceRecorder& TraceRecorder::Instance() {
    static auto* const recorder =
        new TraceRecorder; // never destroyed: threads may log until the process ends
    return *recorder;
}

void TraceRecorder::SetLowestLevel(int level) {
    m_lowestLevel = level;
}

void TraceRecorder::MirrorToStandardError(bool mirror) {
    m_mirror = mirror;
}

void TraceRecorder::Clear() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_messages.clear();
    m_formatted = 0;
}

std::vector<TracedMessage> TraceRecorder::Messages() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_messages;
}

std::vector<std::string> TraceRecorder::Texts(int level) const {
    std::vector<std::string> texts;
    for (const TracedMessage& message : Messages()) {
        if (message.level == level) {
            texts.push_back(message.body);
        }
    }
    return texts;
}

std::size_t TraceRecorder::Count(int level, const std::string& text) const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return CountLocked(level, text);
}

std::size_t TraceRecorder::CountContaining(const std::string& part) const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return static_cast<std::size_t>(
        std::count_if(m_messages.begin(), m_messages.end(), [&part](const TracedMessage& message) {
            return message.body.find(part) != std::string::npos;
        }));
}

std::size_t TraceRecorder::Formatted() const {
    return m_formatted;
}

bool TraceRecorder::WaitFor(int level, const std::string& text, std::chrono::milliseconds timeout) const {
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_changed.wait_for(lock, timeout, [&] { return CountLocked(level, text) > 0; });
}

bool TraceRecorder::Lets(int level) const {
    return level >= m_lowestLevel;
}

void TraceRecorder::CountFormatted() {
    ++m_formatted;
}

void TraceRecorder::Record(int level, int module, const std::string& body) {
    if (m_mirror) {
        std::fprintf(stderr, "[%d] [%d] %s\n", level, module, body.c_str());
    }
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_messages.push_back(TracedMessage{level, module, body, std::this_thread::get_id()});
    m_changed.notify_all();
}

std::size_t TraceRecorder::CountLocked(int level, const std::string& text) const {
    return static_cast<std::size_t>(
        std::count_if(m_messages.begin(), m_messages.end(), [&](const TracedMessage& message) {
            return message.level == level && message.body == text;
        }));
}

} // namespace httpclient::testing
