// SPDX-License-Identifier: Apache-2.0
#include "tour/OwnProcess.h"

#include <cstdio>
#include <cstdlib>
#include <stdexcept>

#include <sys/wait.h>
#include <unistd.h>

namespace tour {
namespace {

constexpr unsigned int LONGEST_SECONDS = 60;

[[noreturn]] void RunAsChild(const std::function<Tally()>& function, int result) {
    alarm(LONGEST_SECONDS); // ends this process by a signal
    const Tally tally = function();
    const bool written = write(result, &tally, sizeof tally) == sizeof tally;
    std::exit(written ? EXIT_SUCCESS : EXIT_FAILURE);
}

} // namespace

std::optional<Tally> InOwnProcess(const std::function<Tally()>& function) {
    int ends[2];
    static_cast<void>(std::fflush(stdout)); // or both processes would write what is buffered
    if (pipe(ends) != 0) {
        throw std::runtime_error("no pipe to be had");
    }
    const pid_t child = fork();
    if (child == 0) {
        close(ends[0]);
        RunAsChild(function, ends[1]);
    }
    close(ends[1]);
    Tally tally;
    const bool told = child > 0 && read(ends[0], &tally, sizeof tally) == sizeof tally;
    close(ends[0]);
    int status = 0;
    const bool endedWell =
        child > 0 && waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
    return told && endedWell ? std::optional(tally) : std::nullopt;
}

} // namespace tour
