// SPDX-License-Identifier: Apache-2.0
#include "CheckFixture.h"

namespace {

using httpclient::testing::CertificateProfile;
using httpclient::testing::CertificateUse;

class CheckServerNamesTest : public CheckFixture {
protected:
    /// Gives the process a certificate with these names.
    void Name(const std::vector<std::string>& names, const std::vector<std::string>& addresses = {}) {
        CertificateProfile profile;
        profile.commonName = "billing";
        profile.use = CertificateUse::Client;
        profile.names = names;
        profile.addresses = addresses;
        WriteIdentity(m_ca.Issue(profile), CANARY_PASSWORD);
    }
};

TEST_F(CheckServerNamesTest, NotesACertificateWithoutAlternativeNames) {
    const CheckReport report = Check();
    EXPECT_EQ(report.Levels("server-names"), std::vector<std::string>{"note"});
    EXPECT_NE(report.Said("server-names").find("server.cer: carries no subject alternative name\n"),
              std::string::npos);
    EXPECT_EQ(report.Problems(), Problems{}) << "who is no server needs none";
}

TEST_F(CheckServerNamesTest, ListsNamesAndAddresses) {
    Name({"billing.test", "*.pods.test"}, {"127.0.0.1", "::1"});
    const CheckReport report = Check();
    EXPECT_EQ(report.Levels("server-names"), std::vector<std::string>{"ok"});
    EXPECT_NE(report.Said("server-names").find("carries billing.test, *.pods.test, 127.0.0.1, ::1\n"),
              std::string::npos)
        << report.Said("server-names");
}

TEST_F(CheckServerNamesTest, ComparesTheNamesThatClientsAskForAsTheyDo) {
    Name({"billing.test", "*.pods.test"}, {"127.0.0.1"});
    for (const char* name : {"billing.test", "BILLING.test", "a.pods.test", "127.0.0.1"}) {
        EXPECT_EQ(Check({"--server-name", name}).Problems(), Problems{}) << name;
    }
    for (const char* name : {"billing", "other.test", "a.b.pods.test", "127.0.0.2", "::1"}) {
        const CheckReport report = Check({"--server-name", name});
        EXPECT_EQ(report.Problems(), Problems{"error server-names"}) << name;
        EXPECT_NE(report.Said("server-names").find("does not carry the name " + std::string(name)),
                  std::string::npos);
    }
    const CheckReport several = Check({"--server-name", "billing.test", "--server-name", "other.test"});
    EXPECT_EQ(several.Levels("server-names"), (std::vector<std::string>{"ok", "ok", "error"}));
}

TEST_F(CheckServerNamesTest, DoesNotTakeTheCommonName) {
    Name({});
    EXPECT_EQ(Check({"--server-name", "billing"}).Problems(), Problems{"error server-names"});
}

TEST_F(CheckServerNamesTest, SaysThatNothingIsCheckedWithoutACertificate) {
    std::filesystem::remove(TlsFile("server.cer"));
    EXPECT_EQ(Check({"--server-name", "billing"}).Levels("server-names"), std::vector<std::string>{"note"});
}

} // namespace
