// SPDX-License-Identifier: Apache-2.0
// A host that ends while workers are amid TLS transfers, or amid callbacks that use the library:
// AsynExitHost PORT return|exit MILLISECONDS [busy]
#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>

#include <httpclient/HttpClient.h>
#include <httpclient/HttpRequest.h>

#include "hosts/Faults.h"
#include "roads/TestedProfile.h"

class CHttpResponse;

namespace {

/// Uses all that lasts as long as the process: constants, and the cache of conversions.
void UseTheLibraryForEver(const CHttpResponse& /*response*/) {
    for (;;) {
        CHttpRequest request;
        request.setVerb(HTTPOPERATION_GET);
        request.setContentType("text/plain");
        request.addParam("name", "caf\xe9");
        request.getParamsAppendInURL();
    }
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 4 && argc != 5) {
        return 2;
    }
    EndOnFaults();
    TakeTestedProfile();
    const bool busy = argc == 5;
    CHttpClient client;
    client.setPort(std::atoi(argv[1]));
    client.setScheme("https");
    for (int i = 0; i < (busy ? 4 : 60); ++i) {
        CHttpRequest request;
        request.setVerb(HTTPOPERATION_GET);
        request.setUrlPath("/");
        request.addRequestHeadEntry("A", "1"); // without any there is a message
        client.asynSendRequest(
            request, busy ? &UseTheLibraryForEver : [](const CHttpResponse&) {}, true);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(std::atoi(argv[3])));
    if (std::string(argv[2]) == "exit") {
        std::thread([] { std::exit(0); }).join();
    }
    return 0;
}
