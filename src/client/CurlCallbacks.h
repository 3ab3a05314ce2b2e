// SPDX-License-Identifier: Apache-2.0
/// @file
/// What libcurl calls back during a transfer.
#pragma once

#include <cstddef>

#include <curl/curl.h>

#include <httpclient/Export.h>

/// Appends received bytes to a text (CURLOPT_WRITEFUNCTION, CURLOPT_HEADERFUNCTION).
/// @param data,size,count the bytes: size times count of them.
/// @param user the std::string.
/// @return @p count; all bits set, which libcurl takes for an error, when a pointer is null
/// or memory exhausted.
/// @throw std::length_error beyond the string's maximum size.
HTTPCLIENT_EXPORT size_t OnCurlWrite(char* data, size_t size, size_t count, void* user);

/// For who does not look at how a transfer ends. @return whether OnCurlWrite() has found no memory on this thread since
/// the last call.
bool TakeWriteWithoutMemory() noexcept;

/// Logs libcurl's informational lines (CURLOPT_DEBUGFUNCTION); header and data blocks are left out, and so
/// are what may be secret in such lines: the values of headers that libcurl repeats over HTTP/2, what
/// stands before the "@" of a URL, and the query of one.
/// @return 0.
HTTPCLIENT_EXPORT int OnCurlDebug(CURL* curl, curl_infotype type, char* data, size_t size, void* user);
