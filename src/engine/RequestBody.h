// SPDX-License-Identifier: Apache-2.0
/// @file
/// What a request holds.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <httpclient/Request.h>

#include "http1/RequestHead.h"

namespace httpclient {

class Request::Body {
public:
    enum class Content { None, Text, Source };

    Method method;
    std::string target; ///< parameters included
    std::vector<http1::Field> fields;
    Content content = Content::None;
    std::string text;
    std::function<BodySource()> open;
    std::optional<std::uint64_t> length; ///< of the source
    std::string contentType;
    BodySink sink;
    std::function<bool(const Response&)> seen;
    std::optional<std::chrono::milliseconds> timeout;
    std::optional<bool> idempotent;
    std::string label;

    /// What the door of CHttpClient says beside that, and no other can.
    struct Door {
        std::string host;            ///< for the field Host; empty: the origin's
        std::optional<bool> decodes; ///< instead of the client's
        bool withoutUserAgent = false;
        bool acceptsAll = false; ///< says so, in the field Accept
        const char* refusal =
            nullptr;         ///< why the request may not go out, when the reader of it knows; static text
        bool secret = false; ///< fields and text are wiped in the end
        /// The text of a request that outlives the call and does not change meanwhile; null: the one above.
        const std::string* lentText = nullptr;
    };
    Door door{};

    Body(Method how, std::string where) : method(how), target(std::move(where)) {}
    Body(const Body& other) = default;
    Body& operator=(const Body& other) = default;
    ~Body();

    bool IsIdempotent() const noexcept { return idempotent.value_or(http1::IsIdempotent(method)); }
    /// The body, where the content is text.
    const std::string& Text() const noexcept { return door.lentText != nullptr ? *door.lentText : text; }
    /// How the head tells the end of the body.
    http1::BodyFraming Framing() const noexcept;
};

} // namespace httpclient
