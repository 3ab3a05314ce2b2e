// SPDX-License-Identifier: Apache-2.0
// Sends a request from the command line, once or many times.
#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <iostream>

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

int SendOnce(const Options& options, const CHttpRequest& request) {
    const Outcome outcome = options.async ? SendAsync(options, request)
                                          : SendAndWait(*MakeClient(options), request, options.target.Tls());
    if (outcome.status != Outcome::NO_ANSWER) {
        WriteAnswer(outcome, options, std::cout);
    }
    if (!options.quiet || outcome.status == Outcome::NO_ANSWER) {
        std::cerr << Describe(outcome, options.target);
    }
    return ExitCodeOf(outcome);
}

int SendMany(const Options& options, const CHttpRequest& request) {
    StopOnInterrupt();
    const auto result = [&] {
        ProgressBar progress(isatty(STDERR_FILENO) != 0 && !options.quiet ? &std::cerr : nullptr,
                             options.repeat);
        return RunLoad(options, request, progress, g_stop);
    }();
    std::cout << Describe(result, options) << std::flush;
    return ExitCodeOf(result.tally);
}

int Run(int argc, char** argv) {
    const auto options = ParseOptions(argc, argv);
    if (!options) {
        return EXIT_OK;
    }
    if (options->verbose) {
        setenv("OVEX_TRACE_LEVEL", "2", 1); // before the library's first word
    }
    const PoolEnd poolEnd{!options->async};
    const auto request = MakeRequest(*options);
    WarnOfGuessedCharset(*options, *request);
    return options->repeat > 1 ? SendMany(*options, *request) : SendOnce(*options, *request);
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
