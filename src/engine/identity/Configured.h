// SPDX-License-Identifier: Apache-2.0
/// @file
/// What the process's configuration says of service tokens. It is the one of the first road, read once.
#pragma once

#include <string>
#include <string_view>

namespace httpclient::engine {

/// Reads the configuration, unless somebody has. @throw std::bad_alloc
void ReadIdentity();

/// @return the service whose token a request must carry, for as long as the process lives; null when it needs none.
/// @param target path and query. @param access as FindService().
const std::string* ServiceOf(std::string_view target, bool access);

/// @return the process's JWT, which the caller wipes; "" when there is none.
std::string Credential();

} // namespace httpclient::engine
