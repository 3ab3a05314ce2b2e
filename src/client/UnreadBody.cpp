// SPDX-License-Identifier: Apache-2.0
#include "client/UnreadBody.h"

#include <cstring>

#include <sys/socket.h>

namespace {

bool MayLeaveABodyUnread(CURL* curl, const std::string& response, std::size_t begin) {
    // A HEAD's options have the head written into the response, which hardly any body begins like.
    if (response.compare(begin, 5, "HTTP/") != 0)
        return false;
    const char* method = nullptr; // libcurl's own text
    curl_easy_getinfo(curl, CURLINFO_EFFECTIVE_METHOD, &method);
    if (method == nullptr || std::strcmp(method, "HEAD") == 0)
        return false;
    curl_off_t length = -1; // stays so when the head announces none
    curl_easy_getinfo(curl, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &length);
    return length != 0;
}

} // namespace

void EndConnectionOfUnreadBody(CURL* curl, const std::string& response, std::size_t begin) {
    if (!MayLeaveABodyUnread(curl, response, begin))
        return;
    curl_socket_t socket = CURL_SOCKET_BAD;
    if (curl_easy_getinfo(curl, CURLINFO_ACTIVESOCKET, &socket) == CURLE_OK && socket != CURL_SOCKET_BAD)
        shutdown(socket, SHUT_RDWR); // libcurl finds it dead, and opens another one
}
