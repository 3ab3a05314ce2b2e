// SPDX-License-Identifier: Apache-2.0
// A host that loads a module which sends, and whose threads find no memory: PoorPluginHost PLUGIN PORT
// Exits with 0 when it outlived each allocation that failed, and sent after all of them.
#include <cstddef>
#include <cstdlib>
#include <new>
#include <thread>

#include <dlfcn.h>

#include "interpose/Allocations.h"

using httpclient::testing::CountedMalloc;

namespace {

constexpr int ANSWERED = 200;

using Send = int (*)(int);

/// Sends on a thread that has not sent before, one of whose allocations fails.
/// @return whether there were so many.
bool OutlivesFailureOf(std::size_t failing, Send send, int port) {
    std::size_t count = 0;
    std::thread([&] {
        const CountedMalloc counted(failing);
        try {
            send(port);
        } catch (const std::bad_alloc&) { // of a constructor or a setter
        }
        count = counted.Count();
    }).join();
    return count >= failing;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        return 2;
    }
    void* const plugin = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
    if (plugin == nullptr) {
        return 3;
    }
    const auto send = reinterpret_cast<Send>(dlsym(plugin, "SendFromPlugin"));
    const int port = std::atoi(argv[2]);
    if (send == nullptr || send(port) != ANSWERED) { // what a process makes once is there from here on
        return 4;
    }
    std::size_t failing = 1;
    while (OutlivesFailureOf(failing, send, port)) {
        ++failing;
    }
    constexpr std::size_t FEWEST = 10; // or nothing was counted
    return failing > FEWEST && send(port) == ANSWERED ? 0 : 5;
}
