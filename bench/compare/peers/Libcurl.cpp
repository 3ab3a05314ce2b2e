// SPDX-License-Identifier: Apache-2.0
// libcurl as a program would use it that needs nothing but the answer.
#include <curl/curl.h>

#include "../Peer.h"

namespace {

size_t Append(char* data, size_t size, size_t count, void* user) {
    static_cast<std::string*>(user)->append(data, size * count);
    return count;
}

void SetTarget(CURL* curl, const Target& target) {
    curl_easy_setopt(curl, CURLOPT_URL, target.Url().c_str());
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, &Append);
    curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
    if (!target.body.empty()) {
        curl_easy_setopt(curl, CURLOPT_POSTFIELDS, target.body.c_str());
    }
    if (target.tls) {
        curl_easy_setopt(curl, CURLOPT_CAINFO, target.ca.c_str());
        curl_easy_setopt(curl, CURLOPT_SSL_VERIFYHOST, 0L);
        curl_easy_setopt(curl, CURLOPT_SSLCERT, target.certificate.c_str());
        curl_easy_setopt(curl, CURLOPT_SSLKEY, target.key.c_str());
    }
}

curl_slist* HeaderOf(const Target& target) {
    const std::string line = "x-access-token:" + target.token;
    return target.token.empty() ? nullptr : curl_slist_append(nullptr, line.c_str());
}

bool Perform(CURL* curl, const Target& target) {
    std::string body;
    curl_slist* header = HeaderOf(target);
    curl_easy_setopt(curl, CURLOPT_HTTPHEADER, header);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &body);
    long status = 0;
    if (curl_easy_perform(curl) == CURLE_OK) {
        curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &status);
    }
    curl_slist_free_all(header);
    return target.IsAnswer(status, body.size());
}

class Minimal : public Peer {
public:
    explicit Minimal(const Target& target) : m_target(target), m_curl(curl_easy_init()) {
        SetTarget(m_curl, m_target);
    }
    ~Minimal() override { curl_easy_cleanup(m_curl); }
    bool Send() override { return Perform(m_curl, m_target); }

private:
    Target m_target;
    CURL* m_curl;
};

class HandlePerRequest : public Peer {
public:
    explicit HandlePerRequest(const Target& target) : m_target(target) {}
    bool Send() override {
        CURL* curl = curl_easy_init();
        SetTarget(curl, m_target);
        const bool sent = Perform(curl, m_target);
        curl_easy_cleanup(curl);
        return sent;
    }

private:
    Target m_target;
};

} // namespace

std::unique_ptr<Peer> MakeMinimal(const Target& target) {
    return std::make_unique<Minimal>(target);
}

std::unique_ptr<Peer> MakeHandlePerRequest(const Target& target) {
    return std::make_unique<HandlePerRequest>(target);
}
