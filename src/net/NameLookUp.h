// SPDX-License-Identifier: Apache-2.0
/// @file
/// One look-up of a name, which blocks.
#pragma once

#include <string>

#include "net/Resolver.h"

namespace httpclient::net {

/// Looks a name up with getaddrinfo(). @throw std::bad_alloc
NameAnswer LookUp(const std::string& name);

/// @return the same of a name that needs no look-up, or that none could help.
/// @param[out] answer what it is; unchanged when a look-up is needed.
/// @throw std::bad_alloc
bool AnswerAtOnce(const std::string& name, NameAnswer& answer);

} // namespace httpclient::net
