// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <csignal>
#include <cstring>
#include <string>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>
#include <openssl/err.h>

#include "net/RecordPieces.h"
#include "seam/SystemCalls.h"
#include "setting/TlsPair.h"

using namespace httpclient::net;

namespace {

/// In both versions.
class TlsChannel : public ::testing::TestWithParam<int> {
protected:
    static PeerSettings Peer() {
        PeerSettings settings = LocalhostPeer();
        settings.newest = GetParam();
        return settings;
    }

    PeerContext m_context{Peer()};
    TlsPair m_pair{m_context};

    void Connect() {
        const IoResult result = m_pair.Handshake();
        ASSERT_FALSE(result.error) << result.error.message();
        ASSERT_TRUE(m_pair.peer.done());
    }
    bool Tls13() const { return GetParam() == TLS1_3_VERSION; }
};

std::string Pattern(std::size_t size) {
    std::string text(size, '\0');
    for (std::size_t i = 0; i < size; ++i) {
        text[i] = static_cast<char>((i * 7 + i / 251) & 0xFFU);
    }
    return text;
}

INSTANTIATE_TEST_SUITE_P(Versions, TlsChannel, ::testing::Values(TLS1_2_VERSION, TLS1_3_VERSION),
                         [](const auto& each) { return each.param == TLS1_2_VERSION ? "Tls12" : "Tls13"; });

} // namespace

TEST_P(TlsChannel, CarriesBytesBothWays) {
    Connect();
    EXPECT_TRUE(m_pair.channel.isTls());
    EXPECT_FALSE(m_pair.channel.resumed());
    m_pair.Write("question");
    EXPECT_EQ(m_pair.peer.ReadExactly(8), "question");
    m_pair.peer.Write("answer");
    std::string text;
    const IoResult result = m_pair.Read(text);
    EXPECT_EQ(text, "answer");
    EXPECT_EQ(result.wants, Wants::Nothing);
    EXPECT_FALSE(m_pair.channel.Buffered());
}

TEST_P(TlsChannel, NeverLetsTheKernelRaiseASignal) {
    const SystemCalls calls;
    Connect();
    m_pair.Write("question");
    EXPECT_GT(calls.sends(), 0U);
    EXPECT_TRUE(calls.noSignal());
    const auto former = std::signal(SIGPIPE, SIG_DFL); // the process would end
    m_pair.peer.HardClose();
    ASSERT_TRUE(WaitFor(m_pair.channel.fd(), POLLIN));
    const iovec piece{const_cast<char*>("x"), 1};
    EXPECT_EQ(m_pair.channel.Write(&piece, 1).error, std::errc::connection_reset);
    EXPECT_EQ(m_pair.channel.Write(&piece, 1).error, std::errc::connection_reset) << "it stays so";
    { const Channel ended(std::move(m_pair.channel)); }
    std::signal(SIGPIPE, former);
}

TEST_P(TlsChannel, GoesOnAfterASignal) {
    SystemCalls calls;
    calls.Interrupt(2);
    Connect();
    calls.Interrupt(2);
    m_pair.Write("question");
    EXPECT_EQ(m_pair.peer.ReadExactly(8), "question");
}

TEST_P(TlsChannel, PutsSmallPiecesIntoOneRecord) {
    Connect();
    const std::vector<std::string> texts = {"head", "", "body", "end"};
    std::vector<iovec> pieces;
    for (const std::string& text : texts) {
        pieces.push_back({const_cast<char*>(text.data()), text.size()});
    }
    const SystemCalls calls;
    EXPECT_EQ(m_pair.channel.Write(pieces.data(), 4).bytes, 11U);
    EXPECT_EQ(calls.sends(), 1U);
    EXPECT_EQ(m_pair.peer.ReadExactly(11), "headbodyend");
}

TEST_P(TlsChannel, FillsItsRecords) {
    Connect();
    std::string head = Pattern(300);
    std::string body = Pattern(3 * RecordPieces::RECORD);
    const iovec pieces[] = {{head.data(), head.size()}, {body.data(), body.size()}};
    const SystemCalls calls;
    EXPECT_EQ(m_pair.channel.Write(pieces, 2).bytes, head.size() + body.size());
    EXPECT_EQ(calls.sends(), 4U) << "three records and what the head has pushed into the fourth";
    EXPECT_TRUE(m_pair.peer.ReadExactly(head.size() + body.size()) == head + body);
}

TEST_P(TlsChannel, WritesWhatGoesAndWantsToWriteThen) {
    Connect();
    const std::string all = Pattern(8 << 20);
    std::size_t written = 0;
    IoResult result;
    do {
        const iovec piece{const_cast<char*>(all.data()) + written, all.size() - written};
        result = m_pair.channel.Write(&piece, 1);
        written += result.bytes;
    } while (result.bytes > 0);
    ASSERT_EQ(result.wants, Wants::Write);
    ASSERT_LT(written, all.size()) << "the kernel has taken more than it should";
    std::string received;
    while (received.size() < all.size()) {
        received += m_pair.peer.Read();
        // Elsewhere, in other pieces, with more behind: OpenSSL must see that it is the same.
        const std::string copy = all.substr(written);
        const iovec pieces[] = {{const_cast<char*>(copy.data()), copy.size()}};
        result = m_pair.channel.Write(pieces, 1);
        ASSERT_FALSE(result.error) << result.error.message();
        written += result.bytes;
    }
    EXPECT_TRUE(received == all);
}

TEST_P(TlsChannel, RepeatsARefusedWriteOfSmallPieces) {
    Connect();
    const std::string block = Pattern(RecordPieces::RECORD);
    std::string sent;
    const auto write = [&](const std::string& one, const std::string& other) {
        const iovec pieces[] = {{const_cast<char*>(one.data()), one.size()},
                                {const_cast<char*>(other.data()), other.size()}};
        return m_pair.channel.Write(pieces, 2);
    };
    while (write(block.substr(0, 9000), block.substr(9000)).bytes > 0) {
        sent += block;
        ASSERT_LT(sent.size(), std::size_t{64} << 20);
    }
    std::string received = m_pair.peer.Read();
    ASSERT_TRUE(WaitFor(m_pair.channel.fd(), POLLOUT));
    const std::string copy = block; // from another place
    IoResult result;
    while ((result = write(copy.substr(0, 9000), copy.substr(9000))).wants == Wants::Write) {
        received += m_pair.peer.Read();
    }
    EXPECT_EQ(result.bytes, block.size());
    sent += block;
    received += m_pair.peer.ReadExactly(sent.size() - received.size());
    EXPECT_TRUE(received == sent);
}

TEST_P(TlsChannel, ReadsManyRecordsWithFewSystemCalls) {
    Connect();
    m_pair.Settle();
    const std::string all = Pattern(5UL * 16384);
    m_pair.peer.Write(all);
    int queued = 0;
    while (queued < static_cast<int>(all.size())) {
        ASSERT_EQ(ioctl(m_pair.channel.fd(), FIONREAD, &queued), 0);
    }
    const SystemCalls calls;
    std::string text;
    const IoResult result = m_pair.Read(text, std::size_t{1} << 20);
    EXPECT_TRUE(text == all) << result.bytes;
    EXPECT_LE(calls.receives(), 3U);
}

TEST_P(TlsChannel, TellsOfBytesThatPollDoesNotSee) {
    Connect();
    m_pair.peer.Write("answer");
    std::string text;
    m_pair.Read(text, 2);
    EXPECT_EQ(text, "an");
    EXPECT_TRUE(m_pair.channel.Buffered());
    m_pair.Read(text, 100);
    EXPECT_EQ(text, "swer");
    EXPECT_FALSE(m_pair.channel.Buffered());
}

TEST_P(TlsChannel, TellsOfWholeRecordsThatPollDoesNotSee) {
    Connect();
    m_pair.Settle();
    m_pair.peer.Write("first");
    m_pair.peer.Write("second");
    int queued = 0;
    while (queued < 5 + 6 + 2 * 22) {
        ASSERT_EQ(ioctl(m_pair.channel.fd(), FIONREAD, &queued), 0);
    }
    std::string text;
    m_pair.Read(text, 5);
    EXPECT_EQ(text, "first");
    EXPECT_TRUE(m_pair.channel.Buffered());
    m_pair.Read(text, 100);
    EXPECT_EQ(text, "second");
}

TEST_P(TlsChannel, TellsOfAnEndThatPollDoesNotSee) {
    Connect();
    m_pair.Settle();
    m_pair.peer.Write("last");
    m_pair.peer.Notify(); // the connection stays open
    int queued = 0;
    while (queued < 4 + 22 + 2 + 22) {
        ASSERT_EQ(ioctl(m_pair.channel.fd(), FIONREAD, &queued), 0);
    }
    std::string text;
    m_pair.Read(text);
    EXPECT_EQ(text, "last");
    pollfd wait{m_pair.channel.fd(), POLLIN, 0};
    ASSERT_EQ(poll(&wait, 1, 0), 0);
    EXPECT_TRUE(m_pair.channel.Buffered());
    const IoResult result = m_pair.Read(text);
    EXPECT_TRUE(result.ended && result.clean);
    EXPECT_FALSE(m_pair.channel.Buffered());
}

TEST_P(TlsChannel, WaitsForTheRestOfARecord) {
    Connect();
    // The server's bytes are taken off its socket, and given on in two halves.
    m_pair.Settle();
    BIO* const memory = BIO_new(BIO_s_mem());
    SSL_set0_wbio(m_pair.peer.ssl(), memory);
    m_pair.peer.Write("answer");
    std::string record(1000, '\0');
    record.resize(static_cast<std::size_t>(BIO_read(memory, record.data(), 1000)));
    SendAll(m_pair.peer.fd(), record.substr(0, 9));
    std::string text;
    EXPECT_EQ(m_pair.ReadOnce(text).wants, Wants::Read);
    EXPECT_FALSE(m_pair.channel.Buffered()) << "a half can only be waited for";
    EXPECT_FALSE(m_pair.channel.Quiet()) << "but it is something";
    SendAll(m_pair.peer.fd(), record.substr(9));
    m_pair.Read(text);
    EXPECT_EQ(text, "answer");
}

TEST_P(TlsChannel, TellsACleanEnd) {
    Connect();
    m_pair.peer.Write("last");
    m_pair.peer.Notify();
    m_pair.peer.Close();
    std::string text;
    IoResult result = m_pair.Read(text);
    EXPECT_EQ(text, "last");
    result = m_pair.Read(text);
    EXPECT_TRUE(result.ended);
    EXPECT_TRUE(result.clean);
    EXPECT_FALSE(result.error);
    EXPECT_TRUE(m_pair.Read(text).ended) << "it stays so";
}

TEST_P(TlsChannel, TellsAnEndWithoutNoticeFromACleanOne) {
    Connect();
    m_pair.peer.Write("last");
    m_pair.peer.Close();
    std::string text;
    IoResult result = m_pair.Read(text);
    EXPECT_EQ(text, "last");
    EXPECT_FALSE(result.ended) << "first the bytes";
    result = m_pair.Read(text);
    EXPECT_TRUE(result.ended);
    EXPECT_FALSE(result.clean);
    EXPECT_FALSE(result.error);
    result = m_pair.Read(text);
    EXPECT_TRUE(result.ended && !result.clean) << "it stays so";
}

TEST_P(TlsChannel, SeesAReset) {
    Connect();
    m_pair.peer.HardClose();
    std::string text;
    EXPECT_EQ(m_pair.Read(text).error, std::errc::connection_reset);
    EXPECT_EQ(m_pair.Read(text).error, std::errc::connection_reset) << "the kernel tells it only once";
}

TEST_P(TlsChannel, SeesBytesThatAreNotTls) {
    Connect();
    SendAll(m_pair.peer.fd(), "HTTP/1.1 400 Bad Request\r\n\r\n");
    std::string text;
    const IoResult result = m_pair.Read(text);
    EXPECT_EQ(&result.error.category(), &TlsCategory());
    char byte = 0;
    EXPECT_EQ(m_pair.channel.Read(&byte, 1).error, result.error) << "it stays so";
}

TEST_P(TlsChannel, CanReadWhatCameBeforeAWriteFailed) {
    Connect();
    m_pair.peer.Write("413 too large");
    m_pair.peer.Notify();
    m_pair.peer.HardClose();
    ASSERT_TRUE(WaitFor(m_pair.channel.fd(), POLLIN));
    const iovec piece{const_cast<char*>("x"), 1};
    EXPECT_TRUE(m_pair.channel.Write(&piece, 1).error);
    std::string text;
    m_pair.Read(text);
    EXPECT_EQ(text, "413 too large");
}

TEST_P(TlsChannel, FailsAHandshakeThatIsBrokenOff) {
    m_pair.channel.Handshake();
    m_pair.peer.Swallow();
    m_pair.peer.Close();
    const IoResult result = m_pair.Handshake();
    EXPECT_EQ(result.error, TlsError(ERR_LIB_SSL, SSL_R_UNEXPECTED_EOF_WHILE_READING))
        << result.error.message();
    EXPECT_EQ(m_pair.channel.Handshake().error, result.error) << "it stays so";
    char byte = 0;
    EXPECT_EQ(m_pair.channel.Read(&byte, 1).error, result.error);
    const iovec piece{&byte, 1};
    EXPECT_EQ(m_pair.channel.Write(&piece, 1).error, result.error);
    EXPECT_FALSE(m_pair.channel.Quiet());
}

TEST_P(TlsChannel, FailsAHandshakeThatIsReset) {
    m_pair.channel.Handshake();
    m_pair.peer.HardClose();
    EXPECT_EQ(m_pair.Handshake().error, std::errc::connection_reset);
}

TEST_P(TlsChannel, FailsAHandshakeWithWhatDoesNotSpeakTls) {
    m_pair.channel.Handshake();
    SendAll(m_pair.peer.fd(), "HTTP/1.1 400 Bad Request\r\n\r\n");
    ASSERT_TRUE(WaitFor(m_pair.channel.fd(), POLLIN));
    EXPECT_EQ(m_pair.channel.Handshake().error, TlsError(ERR_LIB_SSL, SSL_R_WRONG_VERSION_NUMBER));
}

TEST_P(TlsChannel, SaysGoodbyeAtItsEnd) {
    Connect();
    { const Channel ended(std::move(m_pair.channel)); }
    ASSERT_TRUE(WaitFor(m_pair.peer.fd(), POLLIN));
    EXPECT_EQ(m_pair.peer.Read(), "");
    EXPECT_TRUE(m_pair.peer.notified());
}

TEST_P(TlsChannel, SaysGoodbyeBeforeItIsReplaced) {
    Connect();
    m_pair.channel = Channel(Descriptor());
    ASSERT_TRUE(WaitFor(m_pair.peer.fd(), POLLIN));
    EXPECT_EQ(m_pair.peer.Read(), "");
    EXPECT_TRUE(m_pair.peer.notified());
}

TEST_P(TlsChannel, MovesDuringAHandshake) {
    m_pair.channel.Handshake();
    m_pair.channel = Channel(std::move(m_pair.channel));
    Connect();
    m_pair.Write("question");
    EXPECT_EQ(m_pair.peer.ReadExactly(8), "question");
}

TEST_P(TlsChannel, TakesTicketsForNoData) {
    Connect();
    EXPECT_TRUE(m_pair.channel.Quiet());
    m_pair.Settle();
    EXPECT_TRUE(m_pair.channel.Quiet());
    if (Tls13()) {
        ASSERT_EQ(SSL_new_session_ticket(m_pair.peer.ssl()), 1);
        SSL_do_handshake(m_pair.peer.ssl());
        ASSERT_TRUE(WaitFor(m_pair.channel.fd(), POLLIN));
        EXPECT_TRUE(m_pair.channel.Quiet());
    }
    m_pair.Write("question");
    EXPECT_EQ(m_pair.peer.ReadExactly(8), "question") << "the look has done no harm";
}

TEST_P(TlsChannel, LooksWithOneSystemCallWhereNothingIsThere) {
    Connect();
    m_pair.Settle();
    const SystemCalls calls;
    EXPECT_TRUE(m_pair.channel.Quiet());
    EXPECT_EQ(calls.receives(), 1U);
}

TEST_P(TlsChannel, IsNotQuietWhenDataArrivedAndStillHasThem) {
    Connect();
    m_pair.Settle();
    m_pair.peer.Write("408");
    ASSERT_TRUE(WaitFor(m_pair.channel.fd(), POLLIN));
    int queued = 0;
    while (queued < 20) {
        ASSERT_EQ(ioctl(m_pair.channel.fd(), FIONREAD, &queued), 0);
    }
    EXPECT_FALSE(m_pair.channel.Quiet());
    EXPECT_FALSE(m_pair.channel.Quiet());
    EXPECT_TRUE(m_pair.channel.Buffered());
    std::string text;
    m_pair.Read(text);
    EXPECT_EQ(text, "408");
    EXPECT_TRUE(m_pair.channel.Quiet());
}

TEST_P(TlsChannel, IsNotQuietAfterACloseNotify) {
    Connect();
    m_pair.Settle();
    m_pair.peer.Notify();
    ASSERT_TRUE(WaitFor(m_pair.channel.fd(), POLLIN));
    EXPECT_FALSE(m_pair.channel.Quiet());
    EXPECT_FALSE(m_pair.channel.Quiet());
}

TEST_P(TlsChannel, IsNotQuietAfterTheEnd) {
    Connect();
    m_pair.Settle();
    m_pair.peer.Close();
    ASSERT_TRUE(WaitFor(m_pair.channel.fd(), POLLIN));
    EXPECT_FALSE(m_pair.channel.Quiet());
}

TEST_P(TlsChannel, IsNotQuietAfterAnAlert) {
    Connect();
    m_pair.Settle();
    SSL_set_mode(m_pair.peer.ssl(), SSL_MODE_AUTO_RETRY);
    SendAll(m_pair.peer.fd(), std::string("\x17\x03\x03\x00\x05xxxxx", 10)); // a record that is forged
    ASSERT_TRUE(WaitFor(m_pair.channel.fd(), POLLIN));
    EXPECT_FALSE(m_pair.channel.Quiet());
    EXPECT_FALSE(m_pair.channel.Quiet());
}

TEST_P(TlsChannel, IsNotQuietBeforeItsHandshake) {
    EXPECT_FALSE(m_pair.channel.Quiet());
}

TEST_P(TlsChannel, IsLeftAloneByAForkedChildThatAbandonsIt) {
    Connect();
    const pid_t child = fork();
    ASSERT_NE(child, -1);
    if (child == 0) {
        const int fd = m_pair.channel.fd();
        const SystemCalls calls;
        m_pair.channel.Abandon();
        { const Channel ended(std::move(m_pair.channel)); }
        _exit(calls.sends() == 0 && fcntl(fd, F_GETFD) >= 0 ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0) << "it sent something, or closed what it had to forget";
    m_pair.Write("question");
    EXPECT_EQ(m_pair.peer.ReadExactly(8), "question");
}

TEST(TlsOfVersion12, TakesNoRenegotiationUp) {
    PeerSettings settings = LocalhostPeer();
    settings.newest = TLS1_2_VERSION;
    const PeerContext context(settings);
    TlsPair pair(context);
    ASSERT_FALSE(pair.Handshake().error);
    ASSERT_EQ(SSL_renegotiate(pair.peer.ssl()), 1);
    SSL_do_handshake(pair.peer.ssl()); // sends HelloRequest
    std::string text;
    EXPECT_EQ(pair.ReadOnce(text).wants, Wants::Read);
    while (SSL_get_error(pair.peer.ssl(), SSL_read(pair.peer.ssl(), text.data(), 1)) == SSL_ERROR_WANT_READ) {
        ASSERT_TRUE(WaitFor(pair.peer.fd(), POLLIN));
    }
    EXPECT_EQ(ERR_GET_REASON(ERR_peek_error()), SSL_R_NO_RENEGOTIATION);
    ERR_clear_error();
}

TEST(TlsAlert, ThatRefusesOurCertificateComesWithTheHandshakeInTls12) {
    PeerSettings settings = LocalhostPeer();
    settings.newest = TLS1_2_VERSION;
    settings.clientCa = Certificates::Instance().ca.certificatePem();
    const PeerContext context(settings);
    TlsPair pair(context); // has no certificate
    const IoResult result = pair.Handshake();
    EXPECT_EQ(result.error, TlsError(ERR_LIB_SSL, SSL_R_SSLV3_ALERT_HANDSHAKE_FAILURE))
        << result.error.message();
}

TEST(TlsAlert, ThatRefusesOurCertificateComesWhenReadingInTls13) {
    PeerSettings settings = LocalhostPeer();
    settings.clientCa = Certificates::Instance().ca.certificatePem();
    const PeerContext context(settings);
    TlsSettings strange = TrustingSettings();
    strange.certificate = Certificates::Instance().stranger.certificatePem;
    strange.key = Certificates::Instance().stranger.keyPem;
    for (const auto& [own, alert] : {std::pair{TrustingSettings(), SSL_R_TLSV13_ALERT_CERTIFICATE_REQUIRED},
                                     {strange, SSL_R_TLSV1_ALERT_UNKNOWN_CA}}) {
        TlsPair pair(context, own);
        ASSERT_FALSE(pair.Handshake().error) << "the client's part is done";
        ASSERT_TRUE(pair.peer.failed());
        std::string text;
        const IoResult result = pair.Read(text);
        EXPECT_EQ(result.error, TlsError(ERR_LIB_SSL, alert)) << result.error.message();
        EXPECT_FALSE(result.ended && result.clean) << "an alert is no end";
        EXPECT_FALSE(pair.channel.Quiet());
    }
}

TEST(TlsAlert, IsSeenAfterAFailedWrite) {
    PeerSettings settings = LocalhostPeer();
    settings.clientCa = Certificates::Instance().ca.certificatePem();
    const PeerContext context(settings);
    TlsPair pair(context);
    ASSERT_FALSE(pair.Handshake().error);
    const iovec piece{const_cast<char*>("question"), 8};
    EXPECT_EQ(pair.channel.Write(&piece, 1).bytes, 8U);
    pair.peer.Close(); // with the question unread, so the kernel sends a reset
    ASSERT_TRUE(WaitFor(pair.channel.fd(), POLLIN));
    IoResult written;
    while (!written.error) {
        written = pair.channel.Write(&piece, 1);
    }
    std::string text;
    EXPECT_EQ(pair.Read(text).error, TlsError(ERR_LIB_SSL, SSL_R_TLSV13_ALERT_CERTIFICATE_REQUIRED));
}

TEST(RecordPieces, AreCutTheSameWayEachTime) {
    std::string first = Pattern(10);
    std::string second = Pattern(RecordPieces::RECORD);
    std::string third = Pattern(5);
    const iovec pieces[] = {{nullptr, 0}, {first.data(), 10}, {second.data(), second.size()},
                            {nullptr, 0}, {third.data(), 5},  {nullptr, 0}};
    RecordPieces cut(pieces, 6);
    ASSERT_FALSE(cut.Empty());
    EXPECT_EQ(cut.Next().second, RecordPieces::RECORD);
    EXPECT_EQ(std::string(cut.Next().first, RecordPieces::RECORD),
              first + second.substr(0, RecordPieces::RECORD - 10));
    cut.Advance(10);
    EXPECT_EQ(cut.Next().first, second.data()) << "a full record is not copied";
    EXPECT_EQ(cut.Next().second, second.size());
    cut.Advance(second.size() - 1);
    EXPECT_EQ(std::string(cut.Next().first, 6), second.substr(second.size() - 1) + third);
    cut.Advance(1);
    EXPECT_EQ(cut.Next().first, third.data()) << "nor is what comes last";
    cut.Advance(5);
    EXPECT_TRUE(cut.Empty());
}

TEST(RecordPieces, OfNothingAreEmpty) {
    EXPECT_TRUE(RecordPieces(nullptr, 0).Empty());
    const iovec pieces[] = {{nullptr, 0}, {nullptr, 0}};
    EXPECT_TRUE(RecordPieces(pieces, 2).Empty());
}
