// SPDX-License-Identifier: Apache-2.0
// Sends a request from the command line, once or many times.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

#include <unistd.h>

#include <fmt/format.h>

#include <httpclient/HttpConnectionMgr.h>
#include <httpclient/HttpRequest.h>

#include "send/AsyncLoad.h"
#include "send/Errors.h"
#include "send/Load.h"
#include "send/Options.h"
#include "send/Progress.h"
#include "send/Report.h"
#include "send/RequestMaker.h"
#include "send/Sender.h"
#include "send/Strict.h"
#include "send/StrictLoad.h"
#include "send/Timing.h"

namespace {

using namespace sender;

/// The pool's thread is stopped before the process's statics go. Not after asynchronous sends: workers that
/// have called back may still be giving their connections back, and the library lets a process end amid that.
struct PoolEnd {
    const bool wanted;
    ~PoolEnd() {
        if (wanted) {
            CHttpConnectionMgr::Finalize();
        }
    }
};

std::atomic<bool> g_stop{false};
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler may touch it");

/// The first Ctrl-C ends the run and its numbers are printed, the second ends the program.
void StopOnInterrupt() {
    std::signal(SIGINT, [](int) {
        g_stop = true;
        std::signal(SIGINT, SIG_DFL);
    });
}

bool IsAscii(const std::string& text) {
    return std::all_of(text.begin(), text.end(), [](unsigned char c) { return c < 0x80; });
}

void WarnOfGuessedCharset(const Options& options, const CHttpRequest& request) {
    for (const auto& [name, values] : options.parameters) {
        if (request.getAcceptCharset().empty() && !std::all_of(values.begin(), values.end(), IsAscii)) {
            std::cerr << "note: the value of \"" << name
                      << "\" is taken as GBK; --charset UTF-8 if it is in UTF-8\n";
        }
    }
}

void Report(const Outcome& outcome, const Options& options) {
    if (outcome.status != Outcome::NO_ANSWER) {
        WriteAnswer(outcome, options, std::cout);
    }
    if (!options.quiet || outcome.status == Outcome::NO_ANSWER) {
        std::cerr << Describe(outcome, options.target);
    }
    if (options.timing && outcome.timings) {
        std::cerr << DrawTiming(TimesOf(*outcome.timings), outcome.timings->total());
    }
}

/// Sends many times in some way, drawing how far it has come.
using SendRepeatedly = std::function<Tally(ProgressBar& progress)>;

int SendMany(const Options& options, const SendRepeatedly& sendRepeatedly) {
    StopOnInterrupt();
    const auto result = [&]() -> LoadResult {
        ProgressBar progress(isatty(STDERR_FILENO) != 0 && !options.quiet ? &std::cerr : nullptr,
                             options.repeat);
        const auto start = std::chrono::steady_clock::now();
        Tally tally = sendRepeatedly(progress);
        return {std::move(tally), std::chrono::steady_clock::now() - start};
    }();
    std::cout << Describe(result, options) << std::flush;
    return ExitCodeOf(result.tally);
}

/// Of many requests the first without an answer, which stands for the others.
class FirstFailure {
public:
    void Note(const Outcome& outcome) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (!m_outcome && outcome.status == Outcome::NO_ANSWER) {
            m_outcome = outcome;
        }
    }
    const std::optional<Outcome>& Get() const { return m_outcome; }

private:
    std::mutex m_mutex;
    std::optional<Outcome> m_outcome;
};

int SendManyStrictly(const Options& options, const httpclient::Client& client,
                     const httpclient::Request& request) {
    FirstFailure failure;
    const auto note = [&](const Outcome& outcome) { failure.Note(outcome); };
    const SendOne sendAndNote = [&] {
        Outcome outcome = SendStrictly(options, client, request);
        note(outcome);
        return outcome;
    };
    const int code = SendMany(options, [&](ProgressBar& progress) {
        return options.async ? SendInFlight(options, client, request, note, progress, g_stop)
                             : SendOnThreads(
                                   options, [&] { return sendAndNote; }, progress, g_stop);
    });
    if (!failure.Get()) {
        return code;
    }
    std::cerr << Describe(*failure.Get(), options.target);
    return ExitCodeOf(*failure.Get());
}

int RunStrictly(const Options& options) {
    const httpclient::Request request = MakeStrictRequest(options);
    const httpclient::Client client = MakeStrictClient(options);
    if (options.repeat > 1) {
        AllowDescriptors();
        const int code = SendManyStrictly(options, client, request);
        WriteMetrics(options, std::cout);
        return code;
    }
    const Outcome outcome = SendStrictly(options, client, request);
    Report(outcome, options);
    WriteMetrics(options, std::cout);
    return ExitCodeOf(outcome);
}

SendOne SendOfThread(const Options& options, const CHttpRequest& request) {
    const std::shared_ptr<CHttpClient> client = MakeClient(options); // each thread needs one of its own
    return [&options, &request, client] { return SendAndWait(*client, request, options.target.Tls()); };
}

Tally SendRepeatedlyThroughThePool(const Options& options, const CHttpRequest& request,
                                   ProgressBar& progress) {
    // With fewer connections than are wanted some would wait 3 s at a time for one; a lower number changes
    // nothing. Twice: a worker calls back before it gives its connection back.
    MakeClient(options)->resizeConnPool(options.async ? 2 * options.threads : options.threads, 1);
    if (options.async) {
        return SendAsyncRepeatedly(options, request, progress, g_stop);
    }
    return SendOnThreads(
        options, [&] { return SendOfThread(options, request); }, progress, g_stop);
}

int RunCompatibly(const Options& options) {
    const PoolEnd poolEnd{!options.async};
    const auto request = MakeRequest(options);
    WarnOfGuessedCharset(options, *request);
    if (options.repeat > 1) {
        return SendMany(options, [&](ProgressBar& progress) {
            return SendRepeatedlyThroughThePool(options, *request, progress);
        });
    }
    const Outcome outcome = options.async ? SendAsync(options, *request) : SendOfThread(options, *request)();
    Report(outcome, options);
    return ExitCodeOf(outcome);
}

int Run(int argc, char** argv) {
    const auto options = ParseOptions(argc, argv);
    if (!options) {
        return EXIT_OK;
    }
    if (options->verbose) {
        setenv("OVEX_TRACE_LEVEL", "2", 1); // before the library's first word
    }
    return options->strict ? RunStrictly(*options) : RunCompatibly(*options);
}

int Fail(ExitCode code, const std::exception& problem) {
    std::cerr << "httpclient-send: " << problem.what() << '\n';
    if (code == EXIT_USAGE) {
        std::cerr << "httpclient-send --help tells more\n";
    }
    return code;
}

} // namespace

int main(int argc, char** argv) {
    try {
        return Run(argc, argv);
    } catch (const UsageError& problem) {
        return Fail(EXIT_USAGE, problem);
    } catch (const OutputError& problem) {
        return Fail(EXIT_OUTPUT, problem);
    } catch (const std::exception& problem) {
        return Fail(EXIT_NO_ANSWER, problem);
    }
}
