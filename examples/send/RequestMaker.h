// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include <httpclient/HttpClient.h>
#include <httpclient/HttpRequest.h>

#include "send/Options.h"

namespace sender {

/// @return the request that the options describe. Threads may share it: a send only reads it.
std::unique_ptr<CHttpRequest> MakeRequest(const Options& options);

/// @return a client set to the options' target. Each thread needs one of its own.
std::unique_ptr<CHttpClient> MakeClient(const Options& options);

} // namespace sender
