// SPDX-License-Identifier: Apache-2.0
#include "send/Report.h"

#include <fstream>

#include <fmt/format.h>

#include "send/Errors.h"
#include "send/Histogram.h"
#include "send/Timing.h"

namespace sender {
namespace {

double Seconds(Duration time) {
    return std::chrono::duration<double>(time).count();
}

ExitCode ExitCodeOfStatus(int status) {
    switch (status / 100) {
    case 2:
    case 3:
        return EXIT_OK;
    case 4:
        return EXIT_CLIENT_ERROR;
    case 5:
        return EXIT_SERVER_ERROR;
    default:
        return EXIT_NO_ANSWER;
    }
}

int Badness(ExitCode code) {
    switch (code) {
    case EXIT_OK:
        return 0;
    case EXIT_CLIENT_ERROR:
        return 1;
    case EXIT_SERVER_ERROR:
        return 2;
    default:
        return 3;
    }
}

std::string DescribeStatuses(const Tally& tally) {
    std::string text;
    for (const auto& [status, count] : tally.statuses) {
        text += text.empty() ? "" : ", ";
        text += status == Outcome::NO_ANSWER ? fmt::format("no answer: {}", count)
                                             : fmt::format("{}: {}", status, count);
    }
    return text.empty() ? "none" : text;
}

std::string DescribeTimes(const Latencies& times) {
    if (times.Empty()) {
        return "none";
    }
    return fmt::format("min {:.2f} ms  p50 {:.2f}  p90 {:.2f}  p99 {:.2f}  max {:.2f}",
                       Milliseconds(times.Min()), Milliseconds(times.Percentile(50)),
                       Milliseconds(times.Percentile(90)), Milliseconds(times.Percentile(99)),
                       Milliseconds(times.Max()));
}

std::string DescribeWay(const Options& options) {
    return options.async ? fmt::format("asynchronously, {} at a time", options.threads)
                         : fmt::format("on {} thread{}", options.threads, options.threads == 1 ? "" : "s");
}

} // namespace

ExitCode ExitCodeOf(const Outcome& outcome) {
    if (outcome.refused) {
        return EXIT_USAGE;
    }
    return ExitCodeOfStatus(outcome.status);
}

ExitCode ExitCodeOf(const Tally& tally) {
    if (tally.statuses.empty()) {
        return EXIT_NO_ANSWER;
    }
    ExitCode worst = EXIT_OK;
    for (const auto& entry : tally.statuses) {
        const ExitCode code = ExitCodeOfStatus(entry.first);
        worst = Badness(code) > Badness(worst) ? code : worst;
    }
    return worst;
}

std::string Describe(const Outcome& outcome, const Target& target) {
    const std::string time = fmt::format("{:.1f} ms", Milliseconds(outcome.time));
    if (outcome.refused) {
        return fmt::format("refused, and nothing was sent: {}\n", outcome.failure);
    }
    if (!outcome.failure.empty()) {
        return fmt::format("no answer from {}://{}:{} after {}: {}\n", target.scheme, target.host,
                           target.port, time, outcome.failure);
    }
    if (outcome.status == Outcome::NO_ANSWER) {
        return fmt::format("no answer from {}://{}:{} after {}; the log says why (-v: all of it)\n",
                           target.scheme, target.host, target.port, time);
    }
    return fmt::format("{}  {:.0f} bytes  {}{}  {}\n", outcome.status, outcome.length,
                       outcome.type.empty() ? "no type" : outcome.type,
                       outcome.charset.empty() ? "" : "  charset " + outcome.charset, time);
}

std::string Describe(const LoadResult& result, const Options& options) {
    const size_t count = result.tally.times.size();
    const double seconds = Seconds(result.time);
    return fmt::format("requests  {} in {:.2f} s {}: {:.1f} per second\n"
                       "status    {}\n"
                       "time      {}\n"
                       "bodies    {} bytes\n",
                       count, seconds, DescribeWay(options),
                       seconds > 0 ? static_cast<double>(count) / seconds : 0.0,
                       DescribeStatuses(result.tally), DescribeTimes(Latencies(result.tally.times)),
                       result.tally.bodyBytes) +
           DrawHistogram(result.tally.times);
}

void WriteText(const std::string& text, const std::string& fileName, std::ostream& standardOutput) {
    if (fileName.empty()) {
        standardOutput << text << std::flush;
        if (!standardOutput) {
            throw OutputError("cannot write to standard output");
        }
        return;
    }
    std::ofstream file(fileName, std::ios::binary | std::ios::trunc);
    file << text;
    file.close();
    if (!file) {
        throw OutputError(fmt::format("cannot write \"{}\"", fileName));
    }
}

void WriteAnswer(const Outcome& outcome, const Options& options, std::ostream& standardOutput) {
    WriteText(options.showHead ? outcome.head + outcome.body : outcome.body, options.outputFile,
              standardOutput);
}

} // namespace sender
