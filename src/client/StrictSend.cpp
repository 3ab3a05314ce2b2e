// SPDX-License-Identifier: Apache-2.0
// The two ways to send over the engine.
#include <memory>
#include <optional>
#include <stdexcept>
#include <utility>

#include <httpclient/HttpResponse.h>

#include "client/ProfiledClient.h"
#include "client/ResponseFill.h"
#include "client/StrictRequest.h"
#include "client/StrictResponse.h"
#include "engine/Apart.h"
#include "engine/Outcome.h"
#include "support/Cancellation.h"
#include "support/Trace.h"

namespace {

/// The outcome of a call that did not begin; it is logged. @param reason empty: what it needed could not be had.
httpclient::Result NotBegun(const std::string& reason) {
    std::optional<httpclient::Result> refused;
    if (!reason.empty() && Contained([&] { refused.emplace(httpclient::Refused(reason.c_str())); })) {
        return std::move(*refused);
    }
    Trace<LogMessage::CallWithoutMemory>();
    return httpclient::OutOfMemory(httpclient::Phase::Prepare, false);
}

/// Hands the outcome of an asynchronous send to the caller's function.
struct HandOver {
    void (*callback)(const CHttpResponse&);
    std::shared_ptr<CHttpResponse>
        response; ///< made before the call begins, which must not fail for want of it

    /// @throw what the caller's function throws
    void operator()(httpclient::Result outcome) const {
        response->setStatusCode(FillResponse(*response, std::move(outcome)));
        callback(*response);
    }
};

/// Tells the caller's function of a send that settings of no use have kept from beginning: as with any other send, not
/// within it.
/// @return whether it is told; otherwise the outcome stays.
bool HandedOverApart(const HandOver& to, httpclient::Result& refused) {
    std::shared_ptr<httpclient::Result> kept;
    const bool handed = Contained([&] {
        kept = std::make_shared<httpclient::Result>(std::move(refused));
        httpclient::engine::RunApart([to, kept] {
            static_cast<void>(Contained([&] { to(std::move(*kept)); })); // what it throws stays with it
        });
    });
    if (!handed && kept) {
        refused = std::move(*kept);
    }
    return handed;
}

} // namespace

/// @return the client; null, with the reason, when the settings are of no use.
const httpclient::Client* ProfiledClient::ClientOrReason(bool bSSL, std::string& reason) const {
    try {
        return &EngineClient(NeedsTls(bSSL));
    } catch (const std::invalid_argument& settings) {
        reason = settings.what();
        return nullptr;
    }
}

int ProfiledClient::SynSendStrictly(const CHttpRequest& request, CHttpResponse& response, bool bSSL) const {
    std::string reason;
    std::optional<httpclient::Result> outcome;
    const bool sent = Contained([&] {
        if (const httpclient::Client* client = ClientOrReason(bSSL, reason)) {
            outcome.emplace(
                client->Send(StrictRequest::From(request, m_nRequestTimeout, StrictRequest::Text::Lent)));
        }
    });
    return FillResponse(response, sent && outcome ? std::move(*outcome) : NotBegun(reason));
}

void ProfiledClient::AsynSendStrictly(const CHttpRequest& request, void (*callback)(const CHttpResponse&),
                                      bool bSSL) const {
    std::string reason;
    std::shared_ptr<CHttpResponse> response;
    bool begun = false;
    static_cast<void>(Contained([&] {
        response = std::make_shared<CHttpResponse>();
        if (const httpclient::Client* client = ClientOrReason(bSSL, reason)) {
            client->Start(StrictRequest::From(request, m_nRequestTimeout, StrictRequest::Text::Copied),
                          HandOver{callback, response});
            begun = true;
        }
    }));
    if (begun) {
        return;
    }
    httpclient::Result refused = NotBegun(reason);
    static_cast<void>(Contained([&] {
        if (!response) {
            response = std::make_shared<CHttpResponse>();
        }
    }));
    if (response && !reason.empty() && HandedOverApart({callback, response}, refused)) {
        return;
    }
    // What the caller's function throws stays with it.
    static_cast<void>(Contained([&] {
        if (response) {
            HandOver{callback, response}(std::move(refused));
        } else {
            callback(NoAnswer());
        }
    }));
}
