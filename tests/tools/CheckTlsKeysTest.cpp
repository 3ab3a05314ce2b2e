// SPDX-License-Identifier: Apache-2.0
#include <memory>

#include <sys/stat.h>

#include <openssl/bio.h>
#include <openssl/pem.h>

#include "CheckFixture.h"

namespace {

using httpclient::testing::CertificateAuthority;
using httpclient::testing::CertificateProfile;
using httpclient::testing::CertificateUse;
using httpclient::testing::Identity;
using httpclient::testing::Validity;

/// The key in the older encrypted form that many tools still write.
std::string TraditionallyEncrypted(const std::string& keyPem, const char* password) {
    const std::unique_ptr<BIO, decltype(&BIO_free_all)> in(
        BIO_new_mem_buf(keyPem.data(), static_cast<int>(keyPem.size())), &BIO_free_all);
    const std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)> key(
        PEM_read_bio_PrivateKey(in.get(), nullptr, nullptr, nullptr), &EVP_PKEY_free);
    const std::unique_ptr<BIO, decltype(&BIO_free_all)> out(BIO_new(BIO_s_mem()), &BIO_free_all);
    const auto* bytes = reinterpret_cast<const unsigned char*>(password);
    EXPECT_EQ(PEM_write_bio_PrivateKey_traditional(out.get(), key.get(), EVP_aes_256_cbc(), bytes,
                                                   static_cast<int>(std::char_traits<char>::length(password)),
                                                   nullptr, nullptr),
              1);
    char* text = nullptr;
    const long size = BIO_get_mem_data(out.get(), &text);
    return {text, static_cast<std::size_t>(size)};
}

using CheckTlsKeysTest = CheckFixture;

TEST_F(CheckTlsKeysTest, SaysWhyTheMasterKeyIsNotUsed) {
    const Problems problems{"error master-key", "error password", "error key"};
    chmod(Path("master.key").c_str(), 0640);
    EXPECT_EQ(Check().Problems(), problems);
    EXPECT_NE(Check().Said("master-key").find("lets the group or others at it"), std::string::npos);
    EXPECT_NE(Check().Said("password").find("status 5:"), std::string::npos);
    EXPECT_NE(Check().Said("key").find("for want of the password"), std::string::npos);

    m_variables["VORN_KEY_FILE"] = Path("missing.key");
    EXPECT_EQ(Check().Problems(), problems);
    m_variables.erase("VORN_KEY_FILE");
    EXPECT_EQ(Check().Problems(), problems);
    EXPECT_NE(Check().Said("master-key").find("VORN_KEY_FILE is unset"), std::string::npos);
}

TEST_F(CheckTlsKeysTest, RefusesAPasswordMadeUnderAnotherMasterKey) {
    ASSERT_EQ(Run({"init-key", Path("other.key")}).exitCode, 0);
    m_variables["VORN_KEY_FILE"] = Path("other.key");
    EXPECT_EQ(Check().Problems(), (Problems{"error password", "error key"}));
}

TEST_F(CheckTlsKeysTest, RefusesATextThatIsNotThePasswords) {
    for (const std::string& text : {Encrypted(CANARY_PASSWORD, 20), Encrypted(CANARY_PASSWORD) + "A",
                                    std::string(CANARY_PASSWORD), std::string("vorn1:AAAA")}) {
        WriteManifest(text);
        const CheckReport report = Check();
        EXPECT_EQ(report.Problems(), (Problems{"error password", "error key"}));
        EXPECT_NE(report.Said("password").find("status 10:"), std::string::npos);
        EXPECT_NE(report.Said("password").find("the plain text is null or dec error"), std::string::npos);
    }
}

TEST_F(CheckTlsKeysTest, RefusesAPasswordThatTheTlsCodeCannotTake) {
    for (const std::string& password : {std::string(), std::string("nul\0byte", 8), std::string(1024, 'x')}) {
        WriteManifest(Encrypted(password));
        EXPECT_EQ(Check().Problems(), (Problems{"error password", "error key"})) << password;
    }
}

TEST_F(CheckTlsKeysTest, RefusesAPasswordThatDoesNotOpenTheKey) {
    WriteManifest(Encrypted("another"));
    const CheckReport report = Check();
    EXPECT_EQ(report.Problems(), Problems{"error key"});
    EXPECT_NE(report.Said("key").find("not opened by the password of the manifest"), std::string::npos);
}

TEST_F(CheckTlsKeysTest, OpensAKeyOfTheOlderEncryptedForm) {
    WriteTls("server_key.pem", TraditionallyEncrypted(m_client.keyPem, CANARY_PASSWORD));
    EXPECT_EQ(Check().Problems(), Problems{});
    EXPECT_NE(Check().Said("key").find("opened by the password"), std::string::npos);
}

TEST_F(CheckTlsKeysTest, WarnsOfAKeyWithoutPassword) {
    WriteTls("server_key.pem", m_client.keyPem);
    EXPECT_EQ(Check().Problems(), Problems{"warning key"});
}

TEST_F(CheckTlsKeysTest, RefusesPemFilesThatHoldNothingReadable) {
    const std::string certificate = m_client.certificatePem;
    for (const std::string& content : {std::string(), std::string("garbage"), certificate.substr(0, 200),
                                       certificate + certificate.substr(0, 200)}) {
        WriteTls("server.cer", content);
        EXPECT_EQ(Check().Problems(), Problems{"error certificate"}) << content;
    }
    WriteTls("server.cer", certificate);
    WriteTls("trust.cer", "garbage");
    EXPECT_EQ(Check().Problems(), Problems{"error trust"});
    WriteTls("trust.cer", m_ca.certificatePem());
    WriteTls("server_key.pem", "garbage");
    EXPECT_EQ(Check().Problems(), Problems{"error key"});
}

TEST_F(CheckTlsKeysTest, WarnsOfATrustedCertificateThatIsNoAuthoritys) {
    WriteTls("trust.cer", m_ca.certificatePem() + m_client.certificatePem);
    EXPECT_EQ(Check().Problems(), Problems{"warning trust"});
    WriteTls("trust.cer", m_client.certificatePem);
    const Problems problems = Check().Problems();
    EXPECT_EQ(problems[0], "warning trust");
    EXPECT_EQ(problems[1], "error trust");
}

TEST_F(CheckTlsKeysTest, RefusesTheKeyOfAnotherCertificate) {
    WriteTls("server.cer", m_ca.IssueClient("other").certificatePem);
    EXPECT_EQ(Check().Problems(), Problems{"error key-match"});
}

TEST_F(CheckTlsKeysTest, RefusesACertificateOfAnotherAuthority) {
    WriteTls("trust.cer", CertificateAuthority("Another CA").certificatePem());
    const CheckReport report = Check();
    EXPECT_EQ(report.Problems(), Problems{"error chain"});
    EXPECT_NE(report.Said("chain").find("unable to get local issuer certificate"), std::string::npos)
        << report.Said("chain");
    WriteTls("trust.cer", CertificateAuthority("Another CA").certificatePem() + m_ca.certificatePem());
    EXPECT_EQ(Check().Problems(), Problems{});
}

TEST_F(CheckTlsKeysTest, RefusesACertificateThatIsForServersOnly) {
    CertificateProfile profile;
    profile.commonName = "server";
    profile.use = CertificateUse::Server;
    WriteIdentity(m_ca.Issue(profile), CANARY_PASSWORD);
    EXPECT_EQ(Check().Problems(), Problems{"error chain"});
}

TEST_F(CheckTlsKeysTest, RefusesCertificatesWhoseTimeIsNotNow) {
    CertificateProfile profile;
    profile.commonName = "client";
    profile.use = CertificateUse::Client;
    profile.validity = Validity::Expired;
    WriteIdentity(m_ca.Issue(profile), CANARY_PASSWORD);
    EXPECT_EQ(Check().Problems(), Problems{"error dates"});
    EXPECT_NE(Check().Said("dates").find("server.cer: CN=client: expired on 2000-01-0"), std::string::npos)
        << Check().Said("dates");
    profile.validity = Validity::NotYetValid;
    WriteIdentity(m_ca.Issue(profile), CANARY_PASSWORD);
    EXPECT_EQ(Check().Problems(), Problems{"error dates"});
    EXPECT_NE(Check().Said("dates").find("server.cer: CN=client: not valid before 2099-"), std::string::npos);
}

TEST_F(CheckTlsKeysTest, WarnsThirtyDaysBeforeCertificatesExpire) {
    const std::pair<const char*, Problems> cases[] = {{"30", {"warning dates", "warning dates"}}, {"31", {}}};
    for (const auto& [days, problems] : cases) {
        std::filesystem::remove_all(Path("root"));
        ASSERT_EQ(Run({"layout", Path("root"), "--self-signed", "--days", days}).exitCode, 0);
        EXPECT_EQ(Check().Problems(), problems) << days;
    }
    EXPECT_EQ(Check({"--warn-days", "31"}).Problems(), (Problems{"warning dates", "warning dates"}));
    EXPECT_EQ(Check({"--warn-days", "0"}).Problems(), Problems{});
}

} // namespace
