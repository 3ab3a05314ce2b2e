// SPDX-License-Identifier: Apache-2.0
#include "send/Trace.h"

#include <chrono>
#include <ostream>
#include <string>

#include <fmt/format.h>

#include "send/Timing.h"

namespace sender {
namespace {

using httpclient::CallView;
using httpclient::Event;

std::string OutcomeOf(const CallView& call) {
    return call.failure() != nullptr ? call.failure()->message() : fmt::format("status {}", call.status());
}

std::string LineOf(Event event, const CallView& call) {
    if (event == Event::Start) {
        return fmt::format("start    {} {}{}\n", ToString(call.method()), call.origin(), call.target());
    }
    const double time = Milliseconds(call.timings().total());
    if (event == Event::Attempt) {
        return fmt::format("attempt  {} after {:.3f} ms: {}\n", call.attempt(), time, OutcomeOf(call));
    }
    return fmt::format("end      after {:.3f} ms: {}\n", time, OutcomeOf(call));
}

} // namespace

void TracePrinter::OnEvent(Event event, CallView& call) {
    const std::string line = LineOf(event, call);
    const std::lock_guard<std::mutex> lock(m_lock);
    m_out << line << std::flush;
}

} // namespace sender
