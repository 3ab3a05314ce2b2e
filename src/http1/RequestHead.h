// SPDX-License-Identifier: Apache-2.0
/// @file
/// A request's head as bytes, checked on the way.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include <httpclient/Request.h>

namespace httpclient::http1 {

using Field = std::pair<std::string, std::string>;

/// @return the method as it is written; "" for an unknown value.
const char* NameOf(Method method) noexcept;

/// How the end of a request's body is told.
struct BodyFraming {
    enum class Kind { None, Length, Chunked } kind = Kind::None;
    std::uint64_t length = 0;
};

/// What a request's head is written from. All views live as long as the call of WriteRequestHead().
struct RequestHead {
    Method method = Method::Get;
    std::string_view target;                    ///< path and query as the host gave them, parameters included
    std::string_view host;                      ///< the value of Host
    const std::vector<Field>* fields = nullptr; ///< the host's, in order
    const std::vector<Field>* added = nullptr;  ///< the engine's own beside them (trace); may be null
    /// In lower case, the name of a field whose line the caller keeps and puts in the place of all fields of that name;
    /// empty: there is none.
    std::string_view keptLine;
    std::string_view contentType; ///< of the body; empty: none
    std::string_view userAgent;   ///< default of ours; empty: none
    bool acceptCodings = false;   ///< Accept-Encoding: gzip, deflate
    bool acceptAll = false;       ///< Accept: */*, unless the host replaces it
    BodyFraming framing;          ///< None on POST, PUT and PATCH still writes "Content-Length: 0"
};

/// Writes a head, with the empty line that ends it.
///
/// Order: request line, Host, the defaults that the host did not replace (User-Agent, Accept-Encoding,
/// Content-Type, Accept), the host's fields in their order, those added, the line that the caller keeps, the framing. A name of a
/// default that stands among the host's fields, in any case, keeps ours out.
/// @param head what to write.
/// @param[out] out is cleared and written; it keeps its memory. Undefined after an error.
/// @param[out] lineAt where in it the line that the caller keeps belongs. Not written after an error.
/// @return why it may not go out; nothing when it may.
std::error_code WriteRequestHead(const RequestHead& head, std::string& out, std::size_t& lineAt);
/// As above, where the caller keeps no line.
std::error_code WriteRequestHead(const RequestHead& head, std::string& out);

/// @return whether a text may be the value of a field: no control characters, no blanks around it.
bool IsFieldValue(std::string_view value) noexcept;

/// @return whether "Connection: close" stands among the fields.
bool AsksToClose(const std::vector<Field>& fields) noexcept;

/// Appends a parameter to a target's query: "?" or "&", name, "=", value, percent-encoded but for the unreserved
/// characters (RFC 3986, 2.3).
void AppendParameter(std::string& target, std::string_view name, std::string_view value);

/// Appends a parameter to others, "&" between them: name, "=", value, percent-encoded as above.
void AppendPair(std::string& parameters, std::string_view name, std::string_view value);

/// Appends parameters to a target's query. @param parameters as AppendPair() writes them; empty: nothing is appended.
void AppendQuery(std::string& target, std::string_view parameters);

/// @return whether a method repeats without harm (RFC 9110, 9.2.2).
bool IsIdempotent(Method method) noexcept;

} // namespace httpclient::http1
