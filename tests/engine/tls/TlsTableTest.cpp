// SPDX-License-Identifier: Apache-2.0
// The table of TLS servers and materials, row by row, through calls on both drivers.
#include <set>

#include "setting/EngineTest.h"
#include "tls/TlsRows.h"

const Certified& TheAuthority() {
    static const Certified authority(Saying::Authority("Authority"));
    return authority;
}

Manner Showing(const Saying& saying) {
    Manner manner;
    manner.chain = {Certified(saying, TheAuthority())};
    return manner;
}

Manner Sound() {
    static const Manner sound = Showing(Saying::Server("DNS:service.test"));
    return sound;
}

namespace {

/// What became of a call: of a failure the reason, too.
std::string ToldWithReason(const Result& result) {
    return result ? Told(result) : Told(result) + ": " + result.failure().code().message();
}

/// A refusal behind the handshake of TLS 1.3 comes while sending or while waiting for the answer.
std::string Expected(const TlsRow& row, const std::string& told) {
    const std::string late = "Tls: ";
    if (row.outcome.substr(0, late.size()) != late) {
        return row.outcome;
    }
    const bool sending = told.substr(0, 11) == "Tls in Send";
    return (sending ? "Tls in Send: " : "Tls in Head: ") + row.outcome.substr(late.size());
}

class TlsTable : public EngineTest {
protected:
    Result Send(const TlsRow& row, const TlsServer& server, bool onLoop) {
        TlsOptions tls;
        tls.memory(row.authorities.empty() ? TheAuthority().pem() : row.authorities);
        if (row.options) {
            row.options(tls);
        }
        const Client client =
            ClientOf(OptionsFor(row.origin).connectTo("127.0.0.1:" + std::to_string(server.port())).tls(tls));
        const Request post = Post(); // is not sent again
        return onLoop ? client.SendAsync(post).get() : client.Send(post);
    }

    void Check(const TlsRows& rows) {
        std::set<std::string> names;
        for (const TlsRow& row : rows) {
            SCOPED_TRACE(row.name);
            EXPECT_TRUE(names.insert(row.name).second) << "a name of its own";
            const TlsServer server(row.manner);
            for (const bool onLoop : {false, true}) {
                m_engine.CloseIdleConnections(); // which the server may be about to end
                const std::string told = ToldWithReason(Send(row, server, onLoop));
                EXPECT_EQ(told, Expected(row, told));
            }
        }
    }
};

} // namespace

TEST_F(TlsTable, OfNames) {
    Check(NameRows());
}

TEST_F(TlsTable, OfChains) {
    Check(ChainRows());
}

TEST_F(TlsTable, OfKeys) {
    Check(KeyRows());
}

TEST_F(TlsTable, OfVersions) {
    Check(VersionRows());
}

TEST_F(TlsTable, OfEnds) {
    Check(EndRows());
}
