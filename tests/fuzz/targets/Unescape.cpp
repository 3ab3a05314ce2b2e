// SPDX-License-Identifier: Apache-2.0
// Escaping and unescaping of any bytes.
#include <httpclient/HttpRequest.h>

#include "../Require.h"
#include "../Target.h"
#include "Escapes.h"

void FuzzUnescape(std::string_view input) {
    static CHttpRequest request;
    const std::string text(input);
    Require(request.decodeParam(text) == Unescaped(text), "escapes are undone");
    const std::string escaped = request.encodeParam(text);
    Require(escaped == Escaped(text), "every byte but the plain ones is escaped");
    Require(request.decodeParam(escaped) == text.substr(0, text.find('\0')), "there and back again");
}
