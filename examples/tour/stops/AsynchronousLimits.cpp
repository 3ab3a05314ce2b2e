// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <utility>

#include <httpclient/HttpClient.h>
#include <httpclient/HttpRequest.h>

#include "tour/Answers.h"
#include "tour/Stop.h"
#include "tour/Tour.h"

namespace tour {
namespace {

std::unique_ptr<CHttpRequest> FullPost() {
    auto request = NewRequest(HTTPOPERATION_POST, "/echo");
    request->addParam("name", "value");
    request->addRequestHeadEntry("X-Name", "value");
    request->setContent("a body of its own");
    request->setCustomCookieParam("session=42");
    return request;
}

/// What the server says to have got, the POST first.
std::pair<std::string, std::string> SendBoth(Tour& tour) {
    const auto client = tour.NewClient();
    client->asynSendRequest(*FullPost(), KeepAnswer, false);
    client->asynSendRequest(*NewRequest(HTTPOPERATION_HEAD, "/echo"), KeepAnswer, false);
    const std::vector<Answer> answers = WaitForAnswers(2);
    for (const Answer& answer : answers) {
        tour.Result("the server got: " + Visible(answer.body));
    }
    const bool postFirst = answers[0].body.rfind("POST ", 0) == 0;
    return {answers[postFirst ? 0 : 1].body, answers[postFirst ? 1 : 0].body};
}

// Deliberate, all of it: the asynchronous way is the leaner one.
void ShowAsynchronousLimits(Tour& tour) {
    tour.Note("Sent are a POST with header, parameter, body and cookie, and a HEAD:");
    const auto [post, head] = SendBoth(tour);
    tour.Expect("headers go out", post.find("X-Name: value\n") != std::string::npos);
    tour.ExpectText("parameters go out as the body, even when the request has one of its own",
                    "\n\nname=value", post.substr(std::min(post.find("\n\n"), post.size())));
    tour.Expect("a cookie does not go out", post.find("session") == std::string::npos);
    tour.ExpectText("HEAD goes out as GET", "GET /echo", head.substr(0, head.find('\n')));
}

const Stop
    ASYNCHRONOUS_LIMITS(140, "An asynchronous request carries headers and parameters, no body and no cookie",
                        ShowAsynchronousLimits);

} // namespace
} // namespace tour
