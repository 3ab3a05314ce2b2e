// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <optional>

#include "tour/Transcript.h"

namespace tour {

/// Runs a function in a process of its own: what the library keeps once per process begins anew there.
/// Has to be called while this process has one thread.
/// @return what the function returned; nothing when its process ended before, or took longer than a minute.
std::optional<Tally> InOwnProcess(const std::function<Tally()>& function);

} // namespace tour
