// SPDX-License-Identifier: Apache-2.0
#include "engine/Connection.h"

#include "engine/Pool.h"

namespace httpclient::engine {

Connection::Connection(net::Channel made, std::shared_ptr<Destination> to, std::uint64_t materialGeneration,
                       net::Time now)
    : channel(std::move(made)), destination(std::move(to)), generation(materialGeneration), born(now) {
    destination->counts->opened.Add();
}

Connection::~Connection() {
    destination->counts->ClosedFor(closing).Add();
}

} // namespace httpclient::engine
