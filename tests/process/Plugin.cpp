// SPDX-License-Identifier: Apache-2.0
// A module of a host, loaded and unloaded at run time, that sends.
#include <httpclient/HttpClient.h>
#include <httpclient/HttpRequest.h>
#include <httpclient/HttpResponse.h>

#include "roads/TestedProfile.h"

extern "C" __attribute__((visibility("default"))) int SendFromPlugin(int port) {
    TakeTestedProfile();
    CHttpClient client;
    client.setPort(port);
    CHttpRequest request;
    request.setVerb(HTTPOPERATION_GET);
    request.setUrlPath("/");
    CHttpResponse response;
    return client.synSendRequest(request, response, false);
}
