// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include <httpclient/Timings.h>

class CHttpClient;
class CHttpRequest;
class CHttpResponse;

namespace sender {

using Duration = std::chrono::steady_clock::duration;

/// What came of one request.
struct Outcome {
    static constexpr int NO_ANSWER = -1;

    int status = NO_ANSWER;
    Duration time{};
    std::string head;
    std::string body;
    std::string type;
    std::string charset;
    double length = 0; ///< as the server told it, or the body's

    // Of the strict road only:
    std::string failure;  ///< why there is no answer
    bool refused = false; ///< nothing was sent: the request breaks a rule
    std::optional<httpclient::Timings> timings;

    /// Copies what a response holds.
    void TakeOver(const CHttpResponse& response);
};

/// Sends one request and waits for what comes of it.
using SendOne = std::function<Outcome()>;

/// Sends a request on the calling thread and measures how long it took.
Outcome SendAndWait(CHttpClient& client, const CHttpRequest& request, bool tls);

} // namespace sender
