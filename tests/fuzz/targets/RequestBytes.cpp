// SPDX-License-Identifier: Apache-2.0
// What a host asks for, as the bytes of a request's head: nothing in it begins a line of its own.
#include <algorithm>

#include "../Input.h"
#include "../Require.h"
#include "../Target.h"
#include "http1/RequestHead.h"

using namespace httpclient;
using namespace httpclient::http1;

namespace {

std::size_t Count(const std::string& text, char byte) {
    return static_cast<std::size_t>(std::count(text.begin(), text.end(), byte));
}

} // namespace

void FuzzRequestBytes(std::string_view input) {
    Input fields(input);
    const unsigned choices = fields.Byte();
    std::string target = fields.Field();
    const std::string host = fields.Field();
    const std::string contentType = fields.Field();
    const std::string name = fields.Field();
    AppendParameter(target, name, contentType);
    std::vector<Field> own;
    while (!fields.AtEnd()) {
        std::string fieldName = fields.Field();
        own.emplace_back(std::move(fieldName), fields.Field());
    }

    RequestHead head;
    head.method = static_cast<Method>(choices % 8);
    head.target = target;
    head.host = host;
    head.fields = &own;
    head.contentType = contentType;
    head.userAgent = "libhttpclient";
    head.acceptCodings = (choices & 8U) != 0;
    head.framing.kind = static_cast<BodyFraming::Kind>((choices >> 4U) % 3);
    head.framing.length = choices;
    std::string out;
    if (WriteRequestHead(head, out)) {
        return;
    }
    const std::size_t lines = Count(out, '\n');
    Require(lines == Count(out, '\r'), "lines end with CR LF");
    Require(lines >= own.size() + 3 && lines <= own.size() + 7, "a line for each field and no other");
    Require(Count(out.substr(0, out.find('\r')), ' ') == 2, "three words in the first line");
    Require(out.find("\r\n\r\n") == out.size() - 4, "one empty line, at the end");
    Require(out.find('\0') == std::string::npos, "no NUL");
}
