// SPDX-License-Identifier: Apache-2.0
#include "client/UnreadBody.h"

#include <cstring>
#include <string_view>

#include <sys/socket.h>

namespace {

// What has no body under any method (RFC 9110, sections 15.3.5 and 15.4.5).
constexpr int NO_CONTENT = 204;
constexpr int NOT_MODIFIED = 304;

bool MayLeaveABodyUnread(CURL* curl, int status, const std::string& response, std::size_t begin) {
    if (status == NO_CONTENT || status == NOT_MODIFIED) {
        return false;
    }
    // A HEAD's options have the head written into the response, which hardly any body begins like.
    if (std::string_view(response).substr(begin, 5) != "HTTP/") {
        return false;
    }
    const char* method = nullptr; // libcurl's own text
    curl_easy_getinfo(curl, CURLINFO_EFFECTIVE_METHOD, &method);
    if (method == nullptr || std::strcmp(method, "HEAD") == 0) {
        return false;
    }
    curl_off_t length = -1; // stays so when the head announces none
    curl_easy_getinfo(curl, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &length);
    return length != 0;
}

} // namespace

void EndConnectionOfUnreadBody(CURL* curl, int status, const std::string& response, std::size_t begin) {
    if (!MayLeaveABodyUnread(curl, status, response, begin)) {
        return;
    }
    curl_socket_t socket = CURL_SOCKET_BAD;
    if (curl_easy_getinfo(curl, CURLINFO_ACTIVESOCKET, &socket) == CURLE_OK && socket != CURL_SOCKET_BAD) {
        shutdown(socket, SHUT_RDWR); // libcurl finds it dead, and opens another one
    }
}
