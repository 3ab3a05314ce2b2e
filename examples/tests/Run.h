// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdio>
#include <string>

#include <sys/wait.h>

namespace examples {

struct Ran {
    int exitCode; ///< -1 when the program was ended by a signal
    std::string output;
};

/// Runs a command as a shell reads it, without the environment's proxies.
inline Ran Run(const std::string& command) {
    Ran ran{-1, ""};
    std::FILE* const pipe = popen(("env -u http_proxy -u all_proxy -u ALL_PROXY " + command).c_str(), "r");
    if (pipe == nullptr) {
        return ran;
    }
    std::array<char, 4096> buffer;
    for (size_t count = 0; (count = std::fread(buffer.data(), 1, buffer.size(), pipe)) > 0;) {
        ran.output.append(buffer.data(), count);
    }
    const int status = pclose(pipe);
    ran.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return ran;
}

} // namespace examples
