// SPDX-License-Identifier: Apache-2.0
/// @file
/// The floor: what the same requests cost with libcurl alone.
#pragma once

#include <string>

#include <curl/curl.h>

/// A kept easy handle that sets, for each request, exactly the options that the library sets, in its order,
/// with verbose on and a debug callback that ignores everything.
class BareLoop {
public:
    /// @param header a header line to send with each request; none when empty.
    explicit BareLoop(std::string url, std::string header = "");
    ~BareLoop();
    BareLoop(const BareLoop&) = delete;
    BareLoop& operator=(const BareLoop&) = delete;

    /// Sets the options of a TLS connection, as the library sets them.
    void UseTls(const std::string& ca, const std::string& certificate, const std::string& key);

    /// @return the HTTP status; 0 when there was none.
    long Get();
    long Post(const std::string& body);
    /// @return the length of the last answer's body.
    size_t BodyBytes() const { return m_bodyBytes; }

private:
    curl_slist* HeaderList() const;
    void SetBeforeVerb(std::string& head);
    void SetCommon(std::string& body, const curl_slist* list);
    long Perform();

    std::string m_url;
    std::string m_header;
    CURL* m_curl;
    size_t m_bodyBytes = 0;
};
