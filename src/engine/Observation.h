// SPDX-License-Identifier: Apache-2.0
/// @file
/// What the engine's observer sees of one call.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <httpclient/Observer.h>

#include "engine/Core.h"
#include "http1/RequestHead.h"

namespace httpclient {

class CallView::Body {
public:
    Method method = Method::Get;
    std::string_view target; ///< without the query
    const std::string* origin = nullptr;
    const std::string* label = nullptr;
    const Timings* timings = nullptr;
    int attempt = 0;
    int status = 0;
    const Failure* failure = nullptr;
    std::vector<http1::Field>* fields = nullptr; ///< where more may be put just now
    std::shared_ptr<void> context;
};

namespace engine {

/// Tells the observer. What it throws is swallowed and counted. @throw only what ends the thread.
void Tell(Core& core, Event event, CallView::Body& call);

} // namespace engine

} // namespace httpclient
