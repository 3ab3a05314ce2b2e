// SPDX-License-Identifier: Apache-2.0
// Deadlines of a process that gets the processor by the spoonful, as under a quota of control groups: for 40 of each
// 50 milliseconds it stands still.
#include <csignal>
#include <ctime>
#include <string>
#include <thread>

#include <sys/wait.h>
#include <unistd.h>

#include "setting/EngineTest.h"
#include "setting/ScriptedServer.h"
#include "tests/support/Process.h"

#ifndef __SANITIZE_THREAD__

namespace {

constexpr std::chrono::milliseconds RUNS{10};
constexpr std::chrono::milliseconds STANDS{40};

/// Lets a process run and stand in turn until it ends. @return its exit code; -1 when a signal ended it.
int EndUnderQuota(kit::ChildProcess& child) {
    const pid_t process = child.id();
    siginfo_t ended{};
    // Looked at, not waited for: its exit code is wanted afterwards.
    while (waitid(P_PID, static_cast<id_t>(process), &ended, WEXITED | WNOHANG | WNOWAIT) == 0 &&
           ended.si_pid == 0) {
        std::this_thread::sleep_for(RUNS);
        kill(process, SIGSTOP);
        std::this_thread::sleep_for(STANDS);
        kill(process, SIGCONT);
    }
    return child.Wait().exitCode;
}

/// Sends calls that nobody answers. @return how many kept to their deadline.
int Calls(const std::string& origin, bool onLoop) {
    constexpr auto TIMEOUT = 120ms;
    Engine engine;
    const Client client(OptionsFor(origin), engine);
    int kept = 0;
    for (int call = 0; call < 5; ++call) {
        std::string told;
        const auto time = TimeOf([&] {
            const Request request = Get().timeout(TIMEOUT);
            told = Told(onLoop ? client.SendAsync(request).get() : client.Send(request));
        });
        const bool due = time >= TIMEOUT && time < TIMEOUT + STANDS + TOLERANCE;
        kept += due && told.substr(0, 8) == "Timeout " ? 1 : 0;
    }
    return kept;
}

} // namespace

TEST(Quota, KeepsDeadlinesOfBothDrivers) {
    const ScriptedServer server([](Peer& peer) { peer.ExpectEnd(); });
    for (const bool onLoop : {false, true}) {
        kit::ChildProcess child = kit::Fork([&] { _exit(Calls(server.origin(), onLoop)); });
        EXPECT_EQ(EndUnderQuota(child), 5)
            << "calls that kept to their deadline" << (onLoop ? ", on the loop" : "");
    }
}

#endif
