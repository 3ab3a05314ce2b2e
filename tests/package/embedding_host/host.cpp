// SPDX-License-Identifier: Apache-2.0
// A host on a platform of its own.
#include <httpclient/HttpClient.h>

int main() {
    CHttpClient client;
    client.setDomain(""); // refused with a log line
    return 0;
}
