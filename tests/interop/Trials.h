// SPDX-License-Identifier: Apache-2.0
/// @file
/// What is tried with a server: each trial makes calls as a host does and looks at every answer.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "Site.h"

namespace interop {

/// How a server is spoken to.
enum class Over { Plain, Tls, MutualTls };

/// @return "plain", "TLS" or "mutual TLS".
const char* ToString(Over over);

/// A server, and what it cannot be made to do.
struct Target {
    Over over = Over::Plain;
    std::uint16_t port = 0;       ///< on 127.0.0.1
    const Site* site = nullptr;   ///< what it serves
    bool closesByItself = true;   ///< It can be told to close after an answer.
    bool alerts = true;           ///< It says so when it refuses a certificate.
    std::chrono::seconds idle{0}; ///< How long it keeps an idle connection; 0: that is not waited for.
};

/// How a trial went.
struct Finding {
    std::string trial;
    std::string problem; ///< "" when all was as it must be.
};

/// Makes every trial that there is for such a target.
std::vector<Finding> TryAll(const Target& target);

} // namespace interop
