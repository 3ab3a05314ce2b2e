// SPDX-License-Identifier: Apache-2.0
#include <list>
#include <sstream>

#include <curlpp/Easy.hpp>
#include <curlpp/Infos.hpp>
#include <curlpp/Options.hpp>

#include "../Peer.h"

namespace {

class Curlpp : public Peer {
public:
    explicit Curlpp(const Target& target) : m_target(target) {
        m_easy.setOpt(curlpp::options::Url(target.Url()));
        m_easy.setOpt(curlpp::options::NoSignal(true));
        if (!target.body.empty()) {
            m_easy.setOpt(curlpp::options::PostFields(target.body));
        }
        if (!target.token.empty()) {
            m_easy.setOpt(curlpp::options::HttpHeader({"x-access-token:" + target.token}));
        }
        if (target.tls) {
            m_easy.setOpt(curlpp::options::CaInfo(target.ca));
            m_easy.setOpt(curlpp::options::SslVerifyHost(0));
            m_easy.setOpt(curlpp::options::SslCert(target.certificate));
            m_easy.setOpt(curlpp::options::SslKey(target.key));
        }
    }
    bool Send() override {
        std::ostringstream body;
        m_easy.setOpt(curlpp::options::WriteStream(&body));
        m_easy.perform();
        return m_target.IsAnswer(curlpp::infos::ResponseCode::get(m_easy), body.str().size());
    }

private:
    Target m_target;
    curlpp::Easy m_easy;
};

} // namespace

std::unique_ptr<Peer> MakeCurlpp(const Target& target) {
    return std::make_unique<Curlpp>(target);
}
