// SPDX-License-Identifier: Apache-2.0
/// @file
/// How the counted work is done.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

/// Sends one request. @return the HTTP status.
using SendOne = std::function<long()>;

/// Gets ready to do the work of a name.
SendOne MakeWork(const std::string& name, std::uint16_t port);
