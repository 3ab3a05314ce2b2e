// SPDX-License-Identifier: Apache-2.0
#include "tour/Answers.h"
#include "tour/Stop.h"
#include "tour/Tour.h"

#include <httpclient/HttpClient.h>
#include <httpclient/HttpRequest.h>

namespace tour {
namespace {

/// What the server says to have got.
std::string Echoed(Tour& tour, CHttpClient& client, const CHttpRequest& request) {
    client.asynSendRequest(request, KeepAnswer, false);
    const Answer answer = WaitForAnswers(1).front();
    tour.Result("the server got: " + Visible(answer.body));
    return answer.body;
}

// Deliberate, all of it: the asynchronous way is the leaner one.
void Show(Tour& tour) {
    const auto client = tour.NewClient();

    const auto post = NewRequest(HTTPOPERATION_POST, "/echo");
    post->addParam("name", "value");
    post->addRequestHeadEntry("X-Name", "value");
    post->setContent("a body of its own");
    post->setCustomCookieParam("session=42");
    const std::string posted = Echoed(tour, *client, *post);
    tour.Expect("headers go out", posted.find("X-Name: value\n") != std::string::npos);
    tour.ExpectText("parameters go out as the body, even when the request has one of its own",
                    "\n\nname=value", posted.substr(posted.find("\n\n")));
    tour.Expect("a cookie does not go out", posted.find("session") == std::string::npos);

    const std::string head = Echoed(tour, *client, *NewRequest(HTTPOPERATION_HEAD, "/echo"));
    tour.ExpectText("HEAD goes out as GET", "GET /echo", head.substr(0, head.find('\n')));

    client->asynSendRequest(*NewRequest(HTTPOPERATION_NOT_SET, "/echo"), KeepAnswer, false);
    tour.ExpectNumber("what cannot be sent is answered, too: with -1", -1, WaitForAnswers(1).front().status);
}

const Stop stop(140, "An asynchronous request carries headers and parameters, no body and no cookie", Show);

} // namespace
} // namespace tour
