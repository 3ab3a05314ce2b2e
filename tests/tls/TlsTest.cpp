// SPDX-License-Identifier: Apache-2.0
#include "TlsTest.h"

#include <httpclient/HttpRequest.h>

#include "pool/HttpsConnection.h"

std::string message::NoPlainText(int status) {
    return "[3] CHttpClientImp::CHttpsConnection, the plain text is null or dec error, ret=" +
           std::to_string(status);
}

std::string message::NotParsed(const std::string& root) {
    return "[5] CHttpsConnection::GetCipherText, parse " + root + "/internal/manifest.json error!";
}

std::string message::GetFailed(int result) {
    return "[5] HTTP synSendRequest::HttpGets curl_easy_perform call failed, error no is:" +
           std::to_string(result);
}

Lines TlsTest::Connect() {
    const std::size_t before = Logged().size();
    const CHttpsConnection connection("127.0.0.1", 443);
    const Lines all = Logged();
    return {all.begin() + static_cast<std::ptrdiff_t>(before), all.end()};
}

int Get(CHttpClient& client, CHttpResponse& response, const std::string& path) {
    CHttpRequest request;
    request.setVerb(HTTPOPERATION_GET);
    request.setUrlPath(path);
    return client.synSendRequest(request, response, true);
}
