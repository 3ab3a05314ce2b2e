// SPDX-License-Identifier: Apache-2.0
/// @file
/// Ready-made JSON requests.
#pragma once

#include <memory>
#include <string>

#include <httpclient/Export.h>
#include <httpclient/HttpOperationType.h>
#include <httpclient/HttpRequest.h>

/// Makes requests in the shape that the platform's services use most.
///
/// @par Thread Safety
/// Safe from any number of threads.
class HTTPCLIENT_EXPORT HttpRequestWrap {
public:
    HttpRequestWrap();
    // Not inline: it is part of the ABI.
    ~HttpRequestWrap(); // NOLINT(performance-trivially-destructible)

    /// @return a request with this path, body and verb and the content type "application/json". To give it
    ///         another content type, remove that header entry first.
    /// @throw std::bad_alloc when memory is exhausted.
    static std::unique_ptr<CHttpRequest> MakeRequestPtr(const std::string& urlPath,
                                                        const std::string& content, HTTPOPERATIONTYPE verb);
    /// As MakeRequestPtr(), with the header entry "X-Request-Id" = @p requestId besides.
    static std::unique_ptr<CHttpRequest> MakeRequestPtrWithRouter(const std::string& urlPath,
                                                                  const std::string& requestId,
                                                                  HTTPOPERATIONTYPE verb,
                                                                  const std::string& content);
};
