// SPDX-License-Identifier: Apache-2.0
// What a TLS connection sets on its handle, in order.
#include <algorithm>

#include "TlsTest.h"
#include "interpose/Allocations.h"
#include "interpose/CurlRecorder.h"
#include "pool/HttpsConnection.h"
#include "setting/HeldPlatform.h"
#include "setting/Secrets.h"

using namespace httpclient::testing;

namespace {

class ConnectionOptions : public TlsTest {};

std::string Line(const CurlEvent& event) {
    switch (event.call) {
    case CurlCall::EasyInit:
        return "easy_init";
    case CurlCall::MultiInit:
        return "multi_init";
    case CurlCall::EasyCleanup:
        return "easy_cleanup";
    case CurlCall::MultiCleanup:
        return "multi_cleanup";
    case CurlCall::EasySetopt:
        return std::to_string(event.option) + " " + curl_easy_option_by_id(event.option)->name + "=" +
               (event.number ? std::to_string(*event.number) : event.text.value_or("null"));
    default:
        return "another call";
    }
}

Lines LinesOf(const std::vector<CurlEvent>& events) {
    Lines lines;
    for (const CurlEvent& event : events) {
        lines.push_back(Line(event));
    }
    return lines;
}

/// @return all that a connection asks of libcurl while it lives.
Lines Calls() {
    const CurlRecorder recorder;
    {
        const CHttpsConnection connection("127.0.0.1", 443);
        for (const CurlEvent& event : recorder.Events(CurlCall::EasySetopt)) {
            EXPECT_EQ(event.handle, connection.GetCurl());
        }
    }
    return LinesOf(recorder.Events());
}

Lines Expected(const std::string& root, const std::string& password) {
    return {"easy_init",
            "multi_init",
            "64 SSL_VERIFYPEER=1",
            "10097 CAPATH=" + root + "internal/",
            "10065 CAINFO=" + root + "internal/trust.cer",
            "81 SSL_VERIFYHOST=0",
            "10025 SSLCERT=" + root + "internal/server.cer",
            "10086 SSLCERTTYPE=PEM",
            "10087 SSLKEY=" + root + "internal/server_key.pem",
            "10026 KEYPASSWD=" + password,
            "easy_cleanup",
            "multi_cleanup"};
}

} // namespace

TEST_F(ConnectionOptions, AreTheseEightInThisOrder) {
    EXPECT_EQ(Calls(), Expected(m_tls.root().path() + "/", TlsSetting::Password()));
    EXPECT_EQ(Logged(0), Lines{});
}

TEST_F(ConnectionOptions, HoldNoSecondSlashWhenTheRootEndsInOne) {
    const ScopedEnvironment root("SSL_ROOT", m_tls.root().path() + "/");
    EXPECT_EQ(Calls(), Expected(m_tls.root().path() + "/", TlsSetting::Password()));
    EXPECT_EQ(Logged(0), Lines{});
}

TEST_F(ConnectionOptions, HoldRelativePathsAndAnEmptyPasswordWithoutARoot) {
    {
        const ScopedEnvironment unset("SSL_ROOT");
        EXPECT_EQ(Calls(), Expected("", ""));
    }
    const ScopedEnvironment empty("SSL_ROOT", "");
    EXPECT_EQ(Calls(), Expected("", ""));
}

TEST_F(ConnectionOptions, HoldTheSamePathsWhenEveryFileIsMissing) {
    const ScopedEnvironment root("SSL_ROOT", m_tls.root().path() + "/nowhere");
    EXPECT_EQ(Calls(), Expected(m_tls.root().path() + "/nowhere/", ""));
}

TEST_F(ConnectionOptions, AreAllTriedWhateverLibcurlAnswers) {
    for (const CURLoption failing :
         {CURLOPT_SSL_VERIFYPEER, CURLOPT_CAPATH, CURLOPT_CAINFO, CURLOPT_SSL_VERIFYHOST, CURLOPT_SSLCERT,
          CURLOPT_SSLCERTTYPE, CURLOPT_SSLKEY, CURLOPT_KEYPASSWD}) {
        CurlRecorder recorder;
        recorder.ForceOption(failing, CURLE_OUT_OF_MEMORY);
        { const CHttpsConnection connection("127.0.0.1", 443); }
        EXPECT_EQ(LinesOf(recorder.Events()), Expected(m_tls.root().path() + "/", TlsSetting::Password()));
    }
    EXPECT_EQ(Logged(0), Lines{});
}

// A handle that lacks its password would have OpenSSL ask for one on the terminal.
TEST_F(ConnectionOptions, TakeTheHandleWithThemWhenMemoryRunsOutForOne) {
    CurlRecorder recorder;
    recorder.ForceOption(CURLOPT_KEYPASSWD, CURLE_OUT_OF_MEMORY);
    const CHttpsConnection connection("127.0.0.1", 443);
    EXPECT_EQ(connection.GetCurl(), nullptr);
    EXPECT_EQ(recorder.Events(CurlCall::EasyCleanup).size(), 1U);
}

TEST_F(ConnectionOptions, GoToNoHandleWhenLibcurlHasNone) {
    CurlRecorder recorder;
    recorder.Force(CurlCall::EasyInit);
    const CHttpsConnection connection("127.0.0.1", 443);
    EXPECT_EQ(connection.GetCurl(), nullptr);
    EXPECT_EQ(recorder.Options().size(), 8U);
    EXPECT_EQ(Logged(0), Lines{});
}

TEST_F(ConnectionOptions, ComeAfterOneDecryptionForKey1AndValue19) {
    const std::string cipherText = TlsSetting::Encrypted(TlsSetting::Password());
    m_tls.root().Replace("manifest.json", Manifest(cipherText));
    const HeldPlatform platform;
    EXPECT_EQ(Calls(), Expected(m_tls.root().path() + "/", TlsSetting::Password()));
    ASSERT_EQ(platform.Decryptions().size(), 1U);
    const HeldPlatform::Decryption decryption = platform.Decryptions().front();
    EXPECT_EQ(decryption.cipherText, cipherText);
    EXPECT_EQ(decryption.plainTextBefore, "");
    EXPECT_EQ(decryption.key, 1);
    EXPECT_EQ(decryption.value, 19U);
}

TEST_F(ConnectionOptions, HoldAnEmptyPasswordWhenTheCipherFailsWhateverItGave) {
    HeldPlatform platform;
    platform.AnswerDecryption(7, Secret("half"));
    EXPECT_EQ(Calls(), Expected(m_tls.root().path() + "/", ""));
    EXPECT_EQ(Logged(0), Lines{message::NoPlainText(7)});
}

TEST_F(ConnectionOptions, HoldAnEmptyPasswordWhenTheCipherSucceedsWithNothing) {
    HeldPlatform platform;
    platform.AnswerDecryption(0, "");
    EXPECT_EQ(Calls(), Expected(m_tls.root().path() + "/", ""));
    EXPECT_EQ(Logged(0), Lines{message::NoPlainText(0)});
}

TEST_F(ConnectionOptions, AskTheCipherEvenForAnEmptyText) {
    m_tls.root().Remove("manifest.json");
    HeldPlatform platform;
    platform.AnswerDecryption(-3, "");
    EXPECT_EQ(Connect(), (Lines{message::NO_CIPHER_TEXT, message::NoPlainText(-3)}));
    ASSERT_EQ(platform.Decryptions().size(), 1U);
    EXPECT_EQ(platform.Decryptions().front().cipherText, "");
}

TEST_F(ConnectionOptions, AreReadFromTheFilesForEachConnection) {
    Calls();
    m_tls.root().Replace("manifest.json", Manifest(TlsSetting::Encrypted(Secret("another"))));
    EXPECT_EQ(Calls(), Expected(m_tls.root().path() + "/", Secret("another")));
}

TEST_F(ConnectionOptions, LeaveNothingBehindWhenMemoryRunsOut) {
    const auto connect = [] { const CHttpsConnection connection("127.0.0.1", 443); };
    const std::size_t needed = AllocationsOf(connect);
    std::size_t refused = 0;
    for (std::size_t failing = 1; failing <= needed; ++failing) {
        const CurlRecorder recorder;
        refused += SurvivesFailureOf(failing, connect) ? 0U : 1U;
        for (const auto& [made, cleaned] : {std::pair(CurlCall::EasyInit, CurlCall::EasyCleanup),
                                            std::pair(CurlCall::MultiInit, CurlCall::MultiCleanup)}) {
            EXPECT_EQ(recorder.Events(made).size(), recorder.Events(cleaned).size()) << failing;
        }
    }
    EXPECT_GT(refused, 0U);
    const Lines lines = Logged(); // what runs out amid the manifest is caught and logged
    EXPECT_GT(std::count(lines.begin(), lines.end(), message::EXCEPTION), 0);
}
