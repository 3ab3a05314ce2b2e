// SPDX-License-Identifier: Apache-2.0
/// @file
/// A part of a service as there are many: it talks to the service that keeps orders, by CHttpClient.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include <httpclient/HttpClient.h>
#include <httpclient/HttpResponse.h>

/// The orders, which another service keeps.
///
/// @par Thread Safety
/// One thread at a time.
class Orders {
public:
    enum class Outcome { Done, Unknown, Unavailable };

    /// @param ssl whether it is talked to over TLS, with the platform's certificate.
    /// @param seconds that a request may take.
    Orders(const std::string& host, int port, bool ssl, unsigned int seconds = 5);

    /// Places an order. @param order JSON.
    Outcome Place(const std::string& order);
    /// @return the order, as JSON; nothing when there is none, or the service does not answer.
    std::optional<std::string> Find(const std::string& id);
    Outcome Cancel(const std::string& id, const std::string& reason);
    /// @return whether there is such an order.
    bool Exists(const std::string& id);
    /// Tells that orders have changed, and does not wait. @param done is called once.
    void Announce(const std::string& what, void (*done)(const CHttpResponse&));

private:
    Outcome Send(const CHttpRequest& request, CHttpResponse& response);

    std::unique_ptr<CHttpClient> m_client;
    bool m_ssl;
};
