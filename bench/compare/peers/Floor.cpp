// SPDX-License-Identifier: Apache-2.0
#include "../../BareLoop.h"
#include "../Peer.h"

namespace {

class Floor : public Peer {
public:
    explicit Floor(const Target& target)
        : m_target(target),
          m_loop(target.Url(), target.token.empty() ? "" : "x-access-token:" + target.token) {
        if (target.tls) {
            m_loop.UseTls(target.ca, target.certificate, target.key);
        }
    }
    bool Send() override {
        const long status = m_target.body.empty() ? m_loop.Get() : m_loop.Post(m_target.body);
        return m_target.IsAnswer(status, m_loop.BodyBytes());
    }

private:
    Target m_target;
    BareLoop m_loop;
};

} // namespace

std::unique_ptr<Peer> MakeFloor(const Target& target) {
    return std::make_unique<Floor>(target);
}
