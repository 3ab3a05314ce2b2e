// SPDX-License-Identifier: Apache-2.0
/// @file
/// Delivers an answer to a reader in pieces of any size.
#pragma once

#include <cstddef>
#include <functional>
#include <ostream>

#include "Answers.h"

namespace httpclient::http1 {

/// How the body is taken.
enum class Taking { Kept, HandedOver, Direct };

/// How many bytes arrive at once. @param at where in the answer the next ones begin.
using Pieces = std::function<std::size_t(std::size_t at)>;

/// Does as a driver does: feeds what arrives, chooses when the head is there, and tells the end of the connection
/// when the reader still wants more.
Reading Deliver(const Answer& answer, const Pieces& pieces, Taking taking, const Limits& limits = {});

/// All bytes at once.
Pieces Whole();
/// One byte after the other.
Pieces ByteByByte();
/// Two pieces, the second from this place on.
Pieces SplitAt(std::size_t place);

std::ostream& operator<<(std::ostream& out, const Reading& reading);

} // namespace httpclient::http1
