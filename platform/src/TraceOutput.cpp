// SPDX-License-Identifier: Apache-2.0
#include "TraceOutput.h"

#include <cstdio>
#include <utility>

#include <fcntl.h>

#include "TraceText.h"

namespace Ovexcommon {

namespace {

constexpr const char* PATTERN = "%Y-%m-%d %H:%M:%S.%f %v";

// A program that the process starts has no business with the trace file.
void CloseOnExec(const spdlog::filename_t& /*path*/, std::FILE* file) {
    (void)fcntl(fileno(file), F_SETFD, FD_CLOEXEC);
}

} // namespace

TraceOutput::TraceOutput(std::string path, Time now) : m_path(std::move(path)), m_retryAt(now) {
    m_standardError.set_pattern(PATTERN);
    TryFile(now);
}

void TraceOutput::write(Time now, const std::string& line) {
    const spdlog::details::log_msg message(now, spdlog::source_loc{}, spdlog::string_view_t(),
                                           spdlog::level::info, line);
    const std::lock_guard<std::mutex> lock(m_mutex);
    TryFile(now);
    if (!WriteToFile(message)) {
        m_standardError.log(message);
    }
}

void TraceOutput::TryFile(Time now) {
    if (m_path.empty() || m_file != nullptr || now < m_retryAt) {
        return;
    }
    try {
        OpenFile();
    } catch (const std::exception& error) {
        LoseFile(error, now);
    }
}

void TraceOutput::OpenFile() {
    spdlog::file_event_handlers handlers;
    handlers.after_open = CloseOnExec;
    m_file = std::make_unique<spdlog::sinks::rotating_file_sink_st>(m_path, MAX_FILE_SIZE, MAX_OLD_FILES,
                                                                    false, handlers);
    m_file->set_pattern(PATTERN);
}

bool TraceOutput::WriteToFile(const spdlog::details::log_msg& message) {
    if (m_file == nullptr) {
        return false;
    }
    try {
        m_file->log(message);
        m_file->flush();
        m_bLost = false;
        return true;
    } catch (const std::exception& error) {
        LoseFile(error, message.time);
        return false;
    }
}

// The file goes for good, not only for this line: after a failed rotation spdlog's sink holds no stream any
// more and would crash on the next line.
void TraceOutput::LoseFile(const std::exception& error, Time now) {
    m_file.reset();
    m_retryAt = now + RETRY_AFTER;
    if (!m_bLost) {
        m_bLost = true;
        (void)std::fprintf(stderr, "Trace file lost, tracing to standard error: %s\n",
                           EscapeControlCharacters(error.what()).c_str());
    }
}

} // namespace Ovexcommon
