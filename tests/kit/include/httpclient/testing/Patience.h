// SPDX-License-Identifier: Apache-2.0
/// @file
/// How long this kit waits.
#pragma once

#include <chrono>

namespace httpclient::testing {

/// How long the waiting operations of this kit wait unless told otherwise: long enough for a busy machine.
constexpr std::chrono::milliseconds PATIENCE{30000};

} // namespace httpclient::testing
