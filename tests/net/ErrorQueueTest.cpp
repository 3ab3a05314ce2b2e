// SPDX-License-Identifier: Apache-2.0
// A host may have errors of its own in its thread's queue: they are neither lost nor taken for ours.
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <openssl/err.h>
#include <openssl/pem.h>

#include "net/TlsErrors.h"
#include "setting/TlsPair.h"

using namespace httpclient::net;

namespace {

struct QueuedError {
    unsigned long code;
    std::string file;
    int line;
    std::string function;
    std::string data;
    bool operator==(const QueuedError& other) const {
        return code == other.code && file == other.file && line == other.line && function == other.function &&
               data == other.data;
    }
};

std::vector<QueuedError> TakeQueue() {
    std::vector<QueuedError> all;
    const char* file = nullptr;
    const char* function = nullptr;
    const char* data = nullptr;
    int line = 0;
    int flags = 0;
    while (const unsigned long code = ERR_get_error_all(&file, &line, &function, &data, &flags)) {
        all.push_back({code, file, line, function, data});
    }
    return all;
}

void QueueErrorsOfTheHost() {
    ERR_clear_error();
    ERR_new();
    ERR_set_debug("host.c", 11, "HostFunction");
    ERR_set_error(ERR_LIB_USER, 77, "with %s", "a text");
    ERR_new();
    ERR_set_debug("host.c", 12, "OtherFunction");
    ERR_set_error(ERR_LIB_SYS, 2, nullptr);
    ERR_raise(ERR_LIB_PEM, PEM_R_NO_START_LINE);
}

class ErrorQueue : public ::testing::Test {
protected:
    ErrorQueue() {
        QueueErrorsOfTheHost();
        m_expected = TakeQueue();
        // ERR_raise() tells its line, so the same lines run again.
        QueueErrorsOfTheHost();
    }
    ~ErrorQueue() override {
        EXPECT_EQ(m_expected.size(), 3U);
        EXPECT_TRUE(TakeQueue() == m_expected);
    }

    std::vector<QueuedError> m_expected;
};

} // namespace

TEST_F(ErrorQueue, IsEmptyWithinAndAsItWasAfterwards) {
    const ErrorQueueGuard guard;
    EXPECT_EQ(ERR_peek_error(), 0U);
    for (int i = 0; i < 40; ++i) {
        ERR_raise(ERR_LIB_SSL, ERR_R_INTERNAL_ERROR);
    }
}

TEST_F(ErrorQueue, StaysThroughAWholeConnection) {
    const PeerContext peer(LocalhostPeer());
    QueueErrorsOfTheHost(); // the test's own server has emptied it
    const auto context = ContextOf(TrustingSettings());
    TlsPair pair(peer, context);
    IoResult result;
    do {
        QueueErrorsOfTheHost();
        result = pair.channel.Handshake();
        ASSERT_TRUE(TakeQueue() == m_expected);
        ASSERT_FALSE(result.error) << result.error.message();
        pair.peer.Accept();
    } while (result.wants != Wants::Nothing || !pair.peer.done());
    QueueErrorsOfTheHost();
    EXPECT_TRUE(pair.channel.Quiet()) << "tickets are taken in";
    pair.Write("question");
    char answer[16];
    EXPECT_EQ(pair.channel.Read(answer, sizeof answer).wants, Wants::Read)
        << "an old error is none of this connection";
    EXPECT_TRUE(TakeQueue() == m_expected);
    EXPECT_EQ(pair.peer.Read(), "question");
    pair.peer.Write("answer");
    QueueErrorsOfTheHost();
    std::string text;
    pair.Read(text);
    EXPECT_EQ(text, "answer");
    { const Channel ended(std::move(pair.channel)); }
}

TEST_F(ErrorQueue, StaysWhenAHandshakeFails) {
    PeerSettings settings = LocalhostPeer();
    settings.identity = Certificates::Instance().foreign.IssueServer();
    const PeerContext peer(settings);
    TlsPair pair(peer);
    IoResult result;
    do {
        QueueErrorsOfTheHost();
        result = pair.channel.Handshake();
        ASSERT_TRUE(TakeQueue() == m_expected);
        pair.peer.Accept();
    } while (!result.error);
    EXPECT_EQ(&result.error.category(), &CertificateCategory());
    QueueErrorsOfTheHost();
}

TEST_F(ErrorQueue, StaysWhenMaterialIsRead) {
    TlsSettings wrong = TrustingSettings();
    wrong.authorities = "no certificate";
    TlsMaterial material(wrong);
    std::error_code error;
    std::string message;
    EXPECT_EQ(material.Current(Time(), error, message), nullptr);
    TlsMaterial right(TrustingSettings());
    EXPECT_NE(right.Current(Time(), error, message), nullptr);
}

TEST(TlsErrors, HaveOpenSslsWords) {
    EXPECT_EQ(TlsError(ERR_LIB_SSL, SSL_R_UNEXPECTED_EOF_WHILE_READING).message(),
              "unexpected eof while reading");
    EXPECT_STREQ(TlsCategory().name(), "tls");
    EXPECT_EQ(std::error_code(X509_V_ERR_CERT_HAS_EXPIRED, CertificateCategory()).message(),
              "certificate has expired");
    EXPECT_STREQ(CertificateCategory().name(), "certificate");
    EXPECT_EQ(TlsError(ERR_PACK(99, 0, 1)).message(), "OpenSSL error 31800001") << "none has words for it";
}

TEST(TlsErrors, OfWantOfMemoryComeFirst) {
    const ErrorQueueGuard guard;
    EXPECT_EQ(TakeTlsError(), TlsError(ERR_LIB_SSL, ERR_R_INTERNAL_ERROR))
        << "an empty queue has an error, too";
    ERR_raise(ERR_LIB_SSL, SSL_R_BAD_PACKET);
    ERR_raise(ERR_LIB_SSL, SSL_R_BAD_LENGTH);
    EXPECT_EQ(TakeTlsError(), TlsError(ERR_LIB_SSL, SSL_R_BAD_PACKET));
    EXPECT_EQ(ERR_peek_error(), 0U) << "it is taken";
    ERR_raise(ERR_LIB_SSL, SSL_R_BAD_PACKET);
    ERR_raise(ERR_LIB_SSL, ERR_R_MALLOC_FAILURE);
    ERR_raise(ERR_LIB_SSL, SSL_R_BAD_LENGTH);
    EXPECT_EQ(TakeTlsError(), std::errc::not_enough_memory);
}
