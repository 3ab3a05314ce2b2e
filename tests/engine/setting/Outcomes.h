// SPDX-License-Identifier: Apache-2.0
/// @file
/// What became of a call, as text to compare.
#pragma once

#include <string>

#include <httpclient/Result.h>

/// @return "200 body" of a response; "Timeout in Head" of a failure.
std::string Told(const httpclient::Result& result);

/// @return of a failure: "Timeout in Head, sent, retryable, attempts 1"; of a response: "200 body, attempts 1, reused".
std::string ToldFully(const httpclient::Result& result);
