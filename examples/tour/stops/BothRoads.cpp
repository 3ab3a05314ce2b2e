// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <string>
#include <vector>

#include <fmt/format.h>

#include <httpclient/HttpClient.h>
#include <httpclient/HttpRequest.h>

#include "tour/Stop.h"
#include "tour/Tour.h"

namespace tour {
namespace {

constexpr std::size_t COLUMN = 50;

/// The lines of a request as they went out, their ends left out.
std::vector<std::string> Lines(const std::string& bytes) {
    std::vector<std::string> lines;
    for (std::size_t begin = 0; begin < bytes.size();) {
        const std::size_t end = std::min(bytes.find('\n', begin), bytes.size());
        std::string line = bytes.substr(begin, end - begin);
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        lines.push_back(std::move(line));
        begin = end + 1;
    }
    return lines;
}

void ShowSideBySide(Tour& tour, const std::string& left, const std::string& right) {
    std::vector<std::string> compatible = Lines(left);
    std::vector<std::string> strict = Lines(right);
    const std::size_t rows = std::max(compatible.size(), strict.size());
    compatible.resize(rows);
    strict.resize(rows);
    tour.Note(fmt::format("{:<{}} | {}", "COMPATIBLE", COLUMN, "STRICT"));
    for (std::size_t i = 0; i < rows; ++i) {
        tour.Note(fmt::format("{:<{}.{}} | {}", compatible[i], COLUMN, COLUMN, strict[i]));
    }
}

Exchange SendWith(Tour& tour, HTTPTRANSFERPROFILE profile, const CHttpRequest& request) {
    const auto client = tour.NewClient();
    client->setTransferProfile(profile);
    return tour.SendUnseen(*client, request);
}

void ShowBothRoads(Tour& tour) {
    const auto post = NewRequest(HTTPOPERATION_POST, "/echo");
    post->setContent("a body");
    post->addParam("a&b", "value");
    tour.Note("A POST with a body and a parameter, by the same calls:");
    const Exchange compatible = SendWith(tour, HTTPTRANSFERPROFILE_COMPATIBLE, *post);
    const Exchange strict = SendWith(tour, HTTPTRANSFERPROFILE_STRICT, *post);
    ShowSideBySide(tour, compatible.sent, strict.sent);
    tour.ExpectNumber("over libcurl it is answered", 200, compatible.status);
    tour.ExpectNumber("over the engine, too", 200, strict.status);
    tour.ExpectText("libcurl loses the parameter", "POST /echo HTTP/1.1", FirstLine(compatible.sent));
    tour.ExpectText("the engine does not", "POST /echo?a%26b=value HTTP/1.1", FirstLine(strict.sent));
    tour.Expect("the empty cookie is libcurl's alone",
                HasLine(compatible.sent, "Cookie: ") && !HasLine(strict.sent, "Cookie: "));
    tour.ExpectNumber("the roads share no connection", 2, tour.Connections());

    const auto forged = NewRequest(HTTPOPERATION_GET, "/echo");
    forged->addRequestHeadEntry("X-Name", "value\r\nX-Admin: yes");
    tour.Note("A GET with a line break in a header entry:");
    const Exchange split = SendWith(tour, HTTPTRANSFERPROFILE_COMPATIBLE, *forged);
    const Exchange refused = SendWith(tour, HTTPTRANSFERPROFILE_STRICT, *forged);
    ShowSideBySide(tour, split.sent, refused.sent.empty() ? "nothing" : refused.sent);
    tour.Expect("libcurl sends a line that nobody meant", HasLine(split.sent, "X-Admin: yes"));
    tour.ExpectNumber("the engine refuses it", -1, refused.status);
    tour.ExpectText("before a byte goes out", "", refused.sent);
}

const Stop BOTH_ROADS(240, "The STRICT profile sends what the host says", ShowBothRoads);

} // namespace
} // namespace tour
