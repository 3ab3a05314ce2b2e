// SPDX-License-Identifier: Apache-2.0
#include "setting/Diagnosis.h"

#include <map>
#include <sstream>
#include <utility>
#include <vector>

#include <httpclient/testing/RecordingTrace.h>

#include "tests/support/Pattern.h"

using httpclient::testing::Pattern;

namespace {

/// A metrics page, read as it is written.
class Page {
public:
    explicit Page(const std::string& text) {
        std::istringstream lines(text);
        for (std::string line; std::getline(lines, line);) {
            if (line[0] != '#') {
                m_samples[line.substr(0, line.rfind(' '))] = std::stod(line.substr(line.rfind(' ')));
            }
        }
    }
    /// @return the sum of the samples whose name and labels match.
    double Sum(const std::string& name, const std::string& labels = ".*") const {
        const Pattern wanted(name + "(\\{" + labels + "\\})?");
        double sum = 0;
        for (const auto& [sample, value] : m_samples) {
            sum += wanted.IsAllOf(sample) ? value : 0;
        }
        return sum;
    }
    double Calls(const std::string& outcomes) const {
        return Sum("httpclient_calls_total", ".*outcome=\"(" + outcomes + ")\"");
    }

private:
    std::map<std::string, double> m_samples;
};

/// What the page says.
std::string ByThePage(const std::string& text) {
    const Page page(text);
    if (page.Calls("Identity") > 0 ||
        page.Sum("httpclient_token_exchanges_total", ".*outcome=\"[A-Z].*\"") > 0) {
        return "tokens";
    }
    if (page.Calls("Tls") > 0) {
        return "certificates";
    }
    if (page.Calls("Timeout|Overloaded") > 0) {
        const bool waits = page.Sum("httpclient_lease_wait_seconds_sum") >
                           page.Sum("httpclient_call_duration_seconds_sum") / 2;
        return waits ? "full pool" : "slow server";
    }
    return page.Calls("5xx|Resolve|Connect|ConnectionLost|Protocol") > 0 ? "broken server" : "nothing";
}

/// What the log says: the first of these that stands in it.
std::string ByTheLog(const std::string& text) {
    const std::vector<std::pair<const char*, const char*>> signs = {
        {"failed: Identity in Token", "tokens"},
        {"failed: Tls in Handshake: .*expired", "certificates"},
        {"failed: (Timeout|Overloaded) in Lease", "full pool"},
        {"failed: Timeout in (Send|Head|Body)", "slow server"},
        {"failed: (Resolve|Connect|ConnectionLost|Protocol) in|status 5[0-9][0-9]", "broken server"}};
    for (const auto& [sign, meaning] : signs) {
        if (Pattern(sign).IsIn(text)) {
            return meaning;
        }
    }
    return "nothing";
}

} // namespace

std::string WhatIsWrong(const std::string& page) {
    std::string log;
    for (const auto& message : httpclient::testing::TraceRecorder::Instance().Messages()) {
        log += message.body + "\n";
    }
    return "by the page: " + ByThePage(page) + ", by the log: " + ByTheLog(log);
}
