// SPDX-License-Identifier: Apache-2.0
#include "client/ResponseInfo.h"

namespace {

constexpr double UNKNOWN_LENGTH = -1.0;

} // namespace

std::string ResponseContentType(CURL* curl) {
    const char* type = nullptr; // libcurl's own text
    if (curl_easy_getinfo(curl, CURLINFO_CONTENT_TYPE, &type) != CURLE_OK || type == nullptr) {
        return "";
    }
    return type;
}

double ResponseContentLength(CURL* curl, double unanswered) {
    double length = unanswered;
    // The double form is the one whose "unknown" is -1.0; libcurl keeps it, though marked as deprecated.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    curl_easy_getinfo(curl, CURLINFO_CONTENT_LENGTH_DOWNLOAD, &length);
#pragma GCC diagnostic pop
    return length;
}

double KnownContentLength(double length, std::size_t received) {
    return length == UNKNOWN_LENGTH ? static_cast<double>(received) : length;
}
