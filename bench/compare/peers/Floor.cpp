// SPDX-License-Identifier: Apache-2.0
#include "../../BareLoop.h"
#include "../Peer.h"

namespace {

class Floor : public Peer {
public:
    explicit Floor(const Target& target)
        : m_loop(target.Url(), target.token.empty() ? "" : "x-access-token:" + target.token),
          m_body(target.body) {
        if (target.tls)
            m_loop.UseTls(target.ca, target.certificate, target.key);
    }
    bool Send() override { return (m_body.empty() ? m_loop.Get() : m_loop.Post(m_body)) == 200; }

private:
    BareLoop m_loop;
    std::string m_body;
};

} // namespace

std::unique_ptr<Peer> MakeFloor(const Target& target) {
    return std::make_unique<Floor>(target);
}
