// SPDX-License-Identifier: Apache-2.0
#include "Measurement.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <sstream>

#include <sys/resource.h>

#include "../Median.h"
#include "../Memory.h"
#include "AnswerLoop.h"
#include "tests/support/Process.h"

namespace {

/// From so many calls on, what a process has anyhow does not show in the memory of each.
constexpr std::size_t ENOUGH_FOR_MEMORY = 256;

constexpr double KIB = 1024;

double Microseconds(Clock::duration time) {
    return std::chrono::duration<double, std::micro>(time).count();
}

rusage Usage() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage;
}

double CpuMicroseconds() {
    const rusage usage = Usage();
    const auto of = [](const timeval& time) {
        return 1e6 * static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec);
    };
    return of(usage.ru_utime) + of(usage.ru_stime);
}

Clock::time_point After(double seconds) {
    return Clock::now() + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
}

Figures MeasureRun(const CrowdKind& kind, const Work& work, double seconds, const CrowdTarget& target) {
    constexpr double WARM_UP = 0.05; // seconds
    const double residentBefore = MemoryNow().resident / KIB;
    const std::unique_ptr<Crowd> crowd = kind.make(target);
    Tally warmUp;
    if (work.manner != Manner::BurstAnew) {
        warmUp = crowd->Run(work.inFlight, work.manner == Manner::Steady ? After(WARM_UP) : Clock::now());
    }
    const double cpu = CpuMicroseconds();
    const Clock::time_point begun = Clock::now();
    const Tally tally =
        crowd->Run(work.inFlight, work.manner == Manner::Steady ? After(seconds) : Clock::now());
    const double elapsed = Microseconds(Clock::now() - begun);
    const double used = CpuMicroseconds() - cpu;
    const auto answered = static_cast<double>(tally.answered);
    Figures figures{{"errors", static_cast<double>(tally.failed + warmUp.failed)}};
    if (tally.answered == 0) {
        return figures;
    }
    figures["cpu_us"] = used / answered;
    if (work.manner == Manner::Steady) {
        figures["per_second"] = answered / elapsed * 1e6;
    } else {
        figures["whole_ms"] = elapsed / 1e3;
    }
    if (work.inFlight >= ENOUGH_FOR_MEMORY) {
        const double most = static_cast<double>(Usage().ru_maxrss); // KiB
        figures["memory_kib"] = (most - residentBefore) / static_cast<double>(work.inFlight);
    }
    return figures;
}

Figures MeasureCancelling(const CrowdKind& kind, const Work& work, const CrowdTarget& target) {
    CancelTimes times = kind.cancel(target, work.inFlight);
    if (times.empty()) {
        return {{"errors", 1}};
    }
    std::sort(times.begin(), times.end());
    return {{"errors", 0}, {"p50_us", Median(times)}, {"p99_us", times[times.size() * 99 / 100]}};
}

std::string AsLines(const Figures& figures) {
    std::ostringstream lines;
    lines.precision(17);
    for (const auto& [name, value] : figures) {
        lines << name << ' ' << value << '\n';
    }
    return lines.str();
}

Figures FromLines(const std::string& text) {
    Figures figures;
    std::istringstream lines(text);
    std::string name;
    for (double value = 0; lines >> name >> value;) {
        figures[name] = value;
    }
    return figures;
}

} // namespace

Figures Measure(const CrowdKind& kind, const Work& work, double seconds, const CrowdTarget& target) {
    return work.manner == Manner::Cancelling ? MeasureCancelling(kind, work, target)
                                             : MeasureRun(kind, work, seconds, target);
}

Figures MeasureApart(const CrowdKind& kind, const Work& work, double seconds) {
    const AnswerLoop server(work.answeredAfter);
    const httpclient::testing::Ended ended = httpclient::testing::RunForked([&] {
        const Figures figures = Measure(kind, work, seconds, {server.Port(), work.inFlight});
        static_cast<void>(std::fputs(AsLines(figures).c_str(), stdout));
        static_cast<void>(std::fflush(stdout));
        std::_Exit(0); // how clients end is not what is measured
    });
    if (ended.exitCode == 0) {
        return FromLines(ended.out);
    }
    std::fprintf(stderr, "%s, %s: %s (exit code %d, signal %d)\n", work.name.c_str(), kind.name.c_str(),
                 ended.err.c_str(), ended.exitCode, ended.signal);
    return {{"errors", 1}};
}

bool CanDo(const CrowdKind& kind, const Work& work) {
    return work.manner == Manner::Cancelling ? kind.cancel != nullptr : work.inFlight <= kind.most;
}

WorkResults Compare(const Work& work, const std::vector<CrowdKind>& crowds, int rounds,
                    const std::function<Figures(const CrowdKind& kind)>& measure) {
    std::vector<CrowdKind> able;
    std::copy_if(crowds.begin(), crowds.end(), std::back_inserter(able),
                 [&](const CrowdKind& kind) { return CanDo(kind, work); });
    RoundsByPeer figures;
    for (int round = 0; round < rounds; ++round) {
        for (std::size_t index = 0; index < able.size(); ++index) {
            // Each round begins with another, so that none always follows the same neighbour.
            const CrowdKind& kind = able[(index + static_cast<std::size_t>(round)) % able.size()];
            if (round < kind.rounds) {
                figures[kind.name].push_back(measure(kind));
            }
        }
    }
    WorkResults results{work, {}, GoalsReached(work.name, figures)};
    for (const CrowdKind& kind : able) {
        results.peers.emplace_back(kind.name, Medians(figures[kind.name]));
    }
    return results;
}
