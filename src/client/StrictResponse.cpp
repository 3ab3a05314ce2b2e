// SPDX-License-Identifier: Apache-2.0
#include "client/StrictResponse.h"

#include <charconv>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include <httpclient/HttpResponse.h>

#include "client/ResponseFill.h"
#include "engine/Outcome.h"
#include "support/Cancellation.h"
#include "support/Trace.h"

namespace {

/// @return the content length as the server told it.
double ToldLength(const httpclient::http1::ResponseHead& head) {
    const std::string_view text = head.find("Content-Length").value_or(std::string_view());
    std::uint64_t length = 0;
    return std::from_chars(text.data(), text.data() + text.size(), length).ec == std::errc()
               ? static_cast<double>(length)
               : UNKNOWN_LENGTH;
}

void FillWithAnswer(CHttpResponse& response, httpclient::Response::Body& answer) {
    const int status = answer.head.status;
    const double length = KnownContentLength(ToldLength(answer.head), answer.content.size());
    ResponseFill fill(response, std::string(answer.head.find("Content-Type").value_or(std::string_view())));
    response.setStatusCode(status); // all that can fail has come first
    fill.Body(std::move(answer.content));
    response.setContentLen(length);
    fill.ContentType();
    fill.Head(std::move(answer.head.Text()));
}

} // namespace

int FillResponse(CHttpResponse& response, httpclient::Result outcome) {
    if (!outcome) {
        ResponseFill::Explain(response, std::move(outcome));
        return -1;
    }
    const int status = outcome->status();
    if (!Contained([&] { FillWithAnswer(response, outcome->internals()); })) {
        Trace<LogMessage::CallRefused>("Internal in Body: out of memory");
        ResponseFill::Explain(response, httpclient::OutOfMemory(httpclient::Phase::Body, true));
        return -1;
    }
    return status;
}
