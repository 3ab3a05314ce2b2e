// SPDX-License-Identifier: Apache-2.0
#include "Counts.h"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <utility>
#include <vector>

#include <httpclient/testing/Certificates.h>
#include <httpclient/testing/Environment.h>
#include <httpclient/testing/TlsRoot.h>

#include "../TokenService.h"
#include "AnswerServer.h"
#include "Plan.h"
#include "tests/support/Process.h"

using namespace httpclient::testing;

namespace {

/// Keeps the value of the highest cost.
template <typename Value> class Dearest {
public:
    void Offer(double cost, Value value) {
        if (cost <= m_cost) {
            return;
        }
        m_cost = cost;
        m_value = std::move(value);
    }
    const Value& Get() const { return m_value; }

private:
    double m_cost = 0;
    Value m_value{};
};

/// Runs a command. @return its standard output.
std::string Output(const std::vector<std::string>& words) {
    Command command;
    command.words = words;
    Ended ended = RunCommand(command);
    if (ended.exitCode != 0) {
        throw std::runtime_error("failed: " + words.front() + "\n" + ended.out + ended.err);
    }
    return std::move(ended.out);
}

double Allocations(const std::string& output, int requests) {
    // The fewest: the pool's own thread may allocate meanwhile.
    double once = std::numeric_limits<double>::max();
    double twice = once;
    double first = 0;
    double second = 0;
    for (std::istringstream lines(output); lines >> first >> second;) {
        once = std::min(once, first);
        twice = std::min(twice, second);
    }
    return (twice - once) / requests;
}

double Total(const InstructionsByObject& instructions) {
    double sum = 0;
    for (const auto& [object, count] : instructions) {
        sum += static_cast<double>(count);
    }
    return sum;
}

std::map<std::string, double> Instructions(const std::string& dumps, int requests) {
    int dump = 0;
    const auto next = [&] { return ReadProfile(dumps + "." + std::to_string(++dump)); };
    next(); // the warm-up
    Dearest<InstructionsByObject> once;
    Dearest<InstructionsByObject> twice;
    for (int round = 0; round < ROUNDS; ++round) {
        for (auto* phase : {&once, &twice}) {
            InstructionsByObject counted = next();
            const double total = Total(counted);
            phase->Offer(total, std::move(counted));
        }
    }
    std::map<std::string, double> instructions;
    for (const auto& [object, count] : twice.Get()) {
        instructions[object] += static_cast<double>(count) / requests;
    }
    for (const auto& [object, count] : once.Get()) {
        instructions[object] -= static_cast<double>(count) / requests;
    }
    return instructions;
}

/// One run sends so many requests, another twice as many; start and warm-up drop out of the difference.
SystemCallsByName SystemCalls(const std::string& driver, const std::string& work, int requests,
                              const std::string& port) {
    constexpr int PER_ROUND = 3; // N and then 2N
    const bool allThreads = work.rfind("async", 0) == 0;
    const auto count = [&](int each) {
        return CountSystemCalls({driver, work, std::to_string(each), port}, allThreads);
    };
    SystemCallsByName calls;
    for (const auto& [name, number] : count(2 * requests)) {
        calls[name] += number / (PER_ROUND * ROUNDS * requests);
    }
    for (const auto& [name, number] : count(requests)) {
        calls[name] -= number / (PER_ROUND * ROUNDS * requests);
    }
    return calls;
}

/// Runs the driver below callgrind. @param options of callgrind's, beside those that every run has.
std::map<std::string, double> CountInstructions(const std::vector<std::string>& words, int requests,
                                                const std::vector<std::string>& options = {}) {
    const TemporaryDirectory scratch;
    const std::string dumps = scratch.path() / "dump";
    const std::string log = scratch.path() / "log";
    std::vector<std::string> counted{"valgrind", "--tool=callgrind", "--dump-before=CostPhaseEnds",
                                     "--callgrind-out-file=" + dumps, "--log-file=" + log};
    counted.insert(counted.end(), options.begin(), options.end());
    counted.insert(counted.end(), words.begin(), words.end());
    Output(counted);
    return Instructions(dumps, requests);
}

std::vector<std::string> Words(const std::string& driver, const std::string& work, int requests,
                               const AnswerServer& server) {
    return {driver, work, std::to_string(requests), std::to_string(server.Port())};
}

/// What the second road needs besides a server, to have a token.
class TokenSetting {
private:
    const CertificateAuthority m_ca;
    const TlsRoot m_root{m_ca.certificatePem(), m_ca.IssueClient(), "", ""};
    const ScopedEnvironment m_files{"SSL_ROOT", m_root.path()};
    const TokenService m_service{m_ca};
};

bool HasTokenOfSecondRoad(const std::string& work) {
    return work.find("-token") != std::string::npos && work.rfind("floor", 0) != 0 &&
           work.rfind("library", 0) != 0;
}

/// Where the second road has a token, its keeper looks at the TLS files of the exchange now and then. That is no cost of
/// a request, so only the thread that sends is counted.
std::vector<std::string> OptionsFor(const std::string& work) {
    if (HasTokenOfSecondRoad(work)) {
        return {"--toggle-collect=*CountedPhase*"};
    }
    return {};
}

Cost CountCost(const std::string& driver, const std::string& work, int requests, const Wanted& wanted) {
    const AnswerServer server;
    std::optional<TokenSetting> setting;
    if (HasTokenOfSecondRoad(work)) {
        setting.emplace();
    }
    const std::vector<std::string> words = Words(driver, work, requests, server);
    Cost cost;
    cost.allocations = Allocations(Output(words), requests);
    if (wanted.systemCalls && !setting) { // a token makes none
        cost.systemCalls = SystemCalls(driver, work, requests, std::to_string(server.Port()));
    }
    if (wanted.instructions) {
        cost.instructions = CountInstructions(words, requests, OptionsFor(work));
    }
    return cost;
}

double Sum(const std::map<std::string, double>& instructions) {
    double sum = 0;
    for (const auto& [object, count] : instructions) {
        sum += count;
    }
    return sum;
}

} // namespace

double Cost::TotalInstructions() const {
    return InstructionsOf("");
}

double Cost::InstructionsOf(const std::string& prefix) const {
    double sum = 0;
    for (const auto& [object, count] : instructions) {
        if (object.rfind(prefix, 0) == 0) {
            sum += count;
        }
    }
    return sum;
}

double Cost::TotalSystemCalls() const {
    double sum = 0;
    for (const auto& [name, count] : systemCalls) {
        sum += count;
    }
    return sum;
}

double CountCountingInstructions(const std::string& driver, int requests) {
    const AnswerServer server;
    // Functions that are not inlined, so that they can be told by their names; what they call counts, too.
    return Sum(CountInstructions(Words(driver, "client-get-labelled", requests, server), requests,
                                 {"--toggle-collect=httpclient::engine::Call::CountEnd(*",
                                  "--toggle-collect=httpclient::engine::Call::CountExchange*"}));
}

bool HasValgrind() {
    return std::system("command -v valgrind >/dev/null") == 0;
}

CostByWork CountCosts(const std::string& driver, int requests, const Wanted& wanted) {
    CostByWork costs;
    for (const char* work : WORK_NAMES) {
        costs[work] = CountCost(driver, work, requests, wanted);
    }
    return costs;
}
