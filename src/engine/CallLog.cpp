// SPDX-License-Identifier: Apache-2.0
#include "engine/CallLog.h"

#include <array>
#include <cstdio>
#include <new>

#include "support/Trace.h"

namespace httpclient::engine {

namespace {

constexpr std::size_t LONGEST_PATH = 512; ///< of the log

const char* DefaultText(FailureKind kind) {
    switch (kind) {
    case FailureKind::InvalidRequest:
        return "the request breaks a rule";
    case FailureKind::Overloaded:
        return "too many calls wait for a connection";
    case FailureKind::Timeout:
        return "the time is up";
    case FailureKind::Cancelled:
        return "the host ended the call";
    case FailureKind::Shutdown:
        return "the engine is shut down";
    case FailureKind::Internal:
        return "a resource of the process is exhausted";
    default:
        return "no reason is known";
    }
}

/// The path as a log has it, without what could forge a line.
std::string LoggedPath(const std::string& target) {
    std::string path(PathOf(target).substr(0, LONGEST_PATH));
    for (char& c : path) {
        if (c <= ' ' || c > '~') {
            c = '_';
        }
    }
    return path;
}

double Milliseconds(std::chrono::nanoseconds time) {
    return std::chrono::duration<double, std::milli>(time).count();
}

/// The times of the phases that happened: "Lease 0.1 ms, Send 0.2 ms".
std::string DescribeTimes(const Timings::Body& times) {
    std::string text;
    std::array<char, 64> piece{};
    for (std::size_t index = 0; index < Timings::Body::PHASES; ++index) {
        if (times.phases[index].count() > 0) {
            static_cast<void>(std::snprintf(piece.data(), piece.size(), ", %s %.3f ms",
                                            ToString(static_cast<Phase>(index)),
                                            Milliseconds(times.phases[index])));
            text += piece.data();
        }
    }
    return text;
}

} // namespace

std::string_view PathOf(std::string_view target) noexcept {
    const bool isPath = !target.empty() && target.front() == '/';
    return isPath ? target.substr(0, target.find_first_of("?#")) : std::string_view("(no path)");
}

std::string DescribeFailure(const Failure::Body& failure, const std::string& detail) {
    std::string text = ToString(failure.kind);
    text += " in ";
    text += ToString(failure.phase);
    text += ": ";
    if (!detail.empty()) {
        text += detail;
    } else {
        text += failure.code ? failure.code.message() : DefaultText(failure.kind);
    }
    return text;
}

namespace {

/// Logging never changes what a call does: a line for which there is no memory is lost.
template <class Line> void Log(TraceLevel level, const Line& line) noexcept {
    if (!TraceEnabled(level)) {
        return;
    }
    try {
        line();
    } catch (const std::bad_alloc&) {
        return;
    }
}

} // namespace

void LogAnswer(const ClientCore& client, const Request::Body& request, const Response& response) noexcept {
    Log(TraceLevel::Progress, [&] {
        const Timings::Body& times = const_cast<Response&>(response).internals().times;
        Trace<LogMessage::CallEnded>(
            ToString(request.method), client.text().c_str(), LoggedPath(request.target).c_str(),
            response.status(), response.attempts(), Milliseconds(times.total), DescribeTimes(times).c_str());
    });
}

void LogFailure(const ClientCore& client, const Request::Body& request,
                const Failure::Body& failure) noexcept {
    Log(TraceLevel::Error, [&] {
        Trace<LogMessage::CallFailed>(ToString(request.method), client.text().c_str(),
                                      LoggedPath(request.target).c_str(), failure.message.c_str(),
                                      failure.attempts, Milliseconds(failure.times.total),
                                      DescribeTimes(failure.times).c_str());
    });
}

void LogExhaustion(const ClientCore& client, const Request::Body& request, Phase phase, int attempts,
                   std::chrono::nanoseconds total) noexcept {
    Log(TraceLevel::Error, [&] {
        Trace<LogMessage::CallFailedWithin>(
            ToString(request.method), client.text().c_str(), LoggedPath(request.target).c_str(),
            ToString(phase), DefaultText(FailureKind::Internal), attempts, Milliseconds(total));
    });
}

} // namespace httpclient::engine
