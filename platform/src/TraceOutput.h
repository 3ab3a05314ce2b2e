// SPDX-License-Identifier: Apache-2.0
/// @file
/// Where trace lines go.
#pragma once

#include <chrono>
#include <memory>
#include <mutex>
#include <string>

#include <spdlog/sinks/rotating_file_sink.h>
#include <spdlog/sinks/stdout_sinks.h>

namespace Ovexcommon {

/// Writes trace lines to a rotating file, or to standard error while no file is named or the file cannot be
/// written. A file that fails (a full disk, a lost directory) costs no line: standard error takes over, says
/// so once, and the file is tried again after a minute. Safe from any number of threads.
class TraceOutput {
public:
    using Time = std::chrono::system_clock::time_point;

    static constexpr std::size_t MAX_FILE_SIZE = 10UL * 1024 * 1024;
    static constexpr std::size_t MAX_OLD_FILES = 5;
    static constexpr std::chrono::minutes RETRY_AFTER{1};

    /// @param path the trace file; "" for standard error.
    /// @param now the time at which the file is first tried.
    TraceOutput(std::string path, Time now);
    /// Writes one line, headed by the local time, and hands it to the operating system at once.
    void write(Time now, const std::string& line);

private:
    void OpenFile();
    void LoseFile(const std::exception& error, Time now);
    void TryFile(Time now);
    bool WriteToFile(const spdlog::details::log_msg& message);

    const std::string m_path;
    std::mutex m_mutex;
    std::unique_ptr<spdlog::sinks::rotating_file_sink_st>
        m_file; // null while standard error stands in for it
    spdlog::sinks::stderr_sink_st m_standardError;
    bool m_bLost = false; // said so already
    Time m_retryAt;
};

} // namespace Ovexcommon
