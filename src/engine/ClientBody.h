// SPDX-License-Identifier: Apache-2.0
/// @file
/// The body of Client.
#pragma once

#include <memory>
#include <utility>

#include <httpclient/Client.h>

#include "engine/ClientCore.h"
#include "engine/Engines.h"

namespace httpclient {

class Client::Body {
public:
    Body(const ClientOptions& options, std::shared_ptr<Engine::Body> on)
        : engine(std::move(on)), client(options.internals()) {}

    const std::shared_ptr<Engine::Body> engine;
    const engine::ClientCore client;
};

} // namespace httpclient
