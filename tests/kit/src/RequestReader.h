// SPDX-License-Identifier: Apache-2.0
/// @file
/// Cuts a connection's bytes into requests.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include <httpclient/testing/RecordedRequest.h>

#include "Stream.h"

namespace httpclient::testing {

/// Cuts a connection's bytes into requests. Used by one thread.
class RequestReader {
public:
    /// @param stream must outlive the reader.
    /// @param answerExpect whether a client that expects it is told to go on before its body is read.
    RequestReader(Stream& stream, bool answerExpect) : m_stream(stream), m_answerExpect(answerExpect) {}

    /// Waits for the next request. @return it, complete; nothing when the connection ended or what came is no
    ///         request: leftover() then holds it.
    std::optional<RecordedRequest> Next();
    /// @return the bytes that have come and belong to no complete request.
    const std::string& leftover() const { return m_bytes; }

private:
    bool Fill();
    bool Need(std::size_t size);
    std::optional<std::string_view> Line();
    bool ReadHead(RecordedRequest& request);
    bool ReadBody(RecordedRequest& request);
    bool ReadSized(std::string_view length, std::string& body);
    bool ReadChunks(std::string& body);
    bool Take(std::size_t size, std::string& body);

    Stream& m_stream;
    bool m_answerExpect;
    std::string m_bytes;      // what has come and is not yet part of a complete request
    std::size_t m_parsed = 0; // how much of it has been understood
};

} // namespace httpclient::testing
