// SPDX-License-Identifier: Apache-2.0
#include "net/TlsMaterial.h"

#include <atomic>
#include <chrono>
#include <filesystem>
#include <functional>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>

#include <gtest/gtest.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/x509err.h>

#include <vorncipher/VornCipherEncrypt.h>
#include <vorncipher/VornMasterKey.h>

#include <httpclient/testing/Environment.h>
#include <httpclient/testing/RecordingTrace.h>
#include <httpclient/testing/TlsRoot.h>

#include "seam/FrozenStamps.h"
#include "setting/TlsPair.h"
#include "tests/support/HashedName.h"
#include "tests/support/ResourceLimit.h"

using namespace httpclient::net;
using namespace httpclient::testing;
using namespace std::chrono_literals;
using httpclient::testing::Identity;

namespace {

constexpr const char* PASSWORD = "the-password-of-the-key-which-is-long";

std::vector<std::string> Errors() {
    return TraceRecorder::Instance().Texts(5);
}

/// Material in files that can be replaced.
class MaterialFiles : public ::testing::Test {
protected:
    MaterialFiles() {
        Write("ca.pem", Certificates::Instance().ca.certificatePem());
        WriteIdentity(Certificates::Instance().client);
        TraceRecorder::Instance().Clear();
    }
    ~MaterialFiles() override { EXPECT_EQ(TraceRecorder::Instance().CountContaining(PASSWORD), 0U); }

    std::string Path(const std::string& name) const { return m_directory.path() / name; }
    /// Replaces a file as an operator would, by another file in its place.
    void Write(const std::string& name, const std::string& content) const {
        m_directory.Write(name + ".new", content);
        std::filesystem::rename(Path(name + ".new"), Path(name));
    }
    void WriteIdentity(const Identity& identity) const {
        Write("own.pem", identity.certificatePem);
        Write("key.pem", identity.keyPem);
    }
    TlsSettings Settings() const {
        TlsSettings settings;
        settings.from = TlsSettings::From::Files;
        settings.authorities = Path("ca.pem");
        settings.certificate = Path("own.pem");
        settings.key = Path("key.pem");
        settings.name = "localhost";
        return settings;
    }
    std::shared_ptr<const TlsContext> Current(TlsMaterial& material) {
        m_error.clear();
        m_message.clear();
        return material.Current(m_now, m_error, m_message);
    }
    /// Goes on in time, and has the material looked after.
    bool Refresh(TlsMaterial& material, std::chrono::nanoseconds later = 1s) {
        m_now += later;
        return material.Refresh(m_now);
    }

    const TemporaryDirectory m_directory;
    Time m_now = Clock::now() + 1000h; // later than any clock that is read meanwhile
    std::error_code m_error;
    std::string m_message;
};

class CountingWaker : public Waker {
public:
    void Wake() noexcept override { ++count; }
    std::atomic<int> count{0};
};

/// Whether a server with a certificate of our CA is believed.
bool Trusts(const std::shared_ptr<const TlsContext>& context) {
    const PeerContext peer(LocalhostPeer());
    TlsPair pair(peer, context);
    return !pair.Handshake().error;
}

/// The subject of the certificate that a server sees.
std::string SubjectSeen(const std::shared_ptr<const TlsContext>& context) {
    PeerSettings settings = LocalhostPeer();
    settings.clientCa = Certificates::Instance().ca.certificatePem();
    const PeerContext peer(settings);
    TlsPair pair(peer, context);
    EXPECT_FALSE(pair.Handshake().error);
    return pair.peer.subject();
}

} // namespace

TEST_F(MaterialFiles, AreReadOnceAtTheFirstUse) {
    TlsMaterial material(Settings());
    EXPECT_EQ(material.InUse(), nullptr);
    EXPECT_FALSE(Refresh(material)) << "what nobody uses is not looked at";
    const auto context = Current(material);
    ASSERT_NE(context, nullptr) << m_message;
    EXPECT_EQ(material.InUse(), context);
    EXPECT_EQ(Current(material), context);
    EXPECT_EQ(SubjectSeen(context), "CN=client");
    EXPECT_TRUE(m_message.empty());
    EXPECT_FALSE(m_error);
    EXPECT_EQ(context->settings().certificate, Path("own.pem"));
}

TEST_F(MaterialFiles, ArePickedUpWhenTheyChange) {
    TlsMaterial material(Settings());
    const auto first = Current(material);
    ASSERT_NE(first, nullptr);
    WriteIdentity(Certificates::Instance().ca.IssueClient("renewed"));
    ASSERT_TRUE(Refresh(material));
    const auto second = Current(material);
    EXPECT_NE(second, first);
    EXPECT_GT(second->generation(), first->generation());
    EXPECT_EQ(SubjectSeen(second), "CN=renewed");
    EXPECT_EQ(SubjectSeen(first), "CN=client") << "connections under way keep theirs";
    EXPECT_FALSE(Refresh(material));
    EXPECT_TRUE(Errors().empty());
}

TEST_F(MaterialFiles, AreLookedAtOnceASecondAtMost) {
    TlsMaterial material(Settings());
    ASSERT_NE(Current(material), nullptr);
    EXPECT_FALSE(Refresh(material));
    WriteIdentity(Certificates::Instance().ca.IssueClient("renewed"));
    EXPECT_FALSE(Refresh(material, 1s - 1ns));
    EXPECT_TRUE(Refresh(material, 1ns));
}

TEST_F(MaterialFiles, OfNewAuthoritiesAreNewMaterial) {
    TlsMaterial material(Settings());
    const auto first = Current(material);
    Write("ca.pem", Certificates::Instance().foreign.certificatePem());
    EXPECT_TRUE(Refresh(material));
    const PeerContext peer(LocalhostPeer());
    TlsPair pair(peer, Current(material));
    EXPECT_TRUE(pair.Handshake().error);
}

TEST_F(MaterialFiles, WithTheSameContentAreNotNew) {
    TlsMaterial material(Settings());
    const auto first = Current(material);
    ASSERT_NE(first, nullptr);
    WriteIdentity(Certificates::Instance().client);
    EXPECT_FALSE(Refresh(material));
    EXPECT_EQ(Current(material), first);
}

TEST_F(MaterialFiles, ChangedWithinATickOfTheClockAreStillNoticed) {
    const FrozenStamps frozen(0s); // as if size, times and number were the same
    TlsMaterial material(Settings());
    ASSERT_NE(Current(material), nullptr);
    Write("ca.pem", Certificates::Instance().foreign.certificatePem());
    EXPECT_TRUE(Refresh(material));
}

TEST_F(MaterialFiles, ThatHaveNotChangedForAWhileAreNotRead) {
    const FrozenStamps frozen(10s);
    TlsMaterial material(Settings());
    ASSERT_NE(Current(material), nullptr);
    Write("ca.pem", Certificates::Instance().foreign.certificatePem());
    EXPECT_FALSE(Refresh(material)) << "nothing could be seen from outside";
}

TEST_F(MaterialFiles, ThatDoNotMatchLeaveTheOldInUse) {
    TlsMaterial material(Settings());
    const auto first = Current(material);
    ASSERT_NE(first, nullptr);
    Write("own.pem", Certificates::Instance().ca.IssueClient("renewed").certificatePem);
    EXPECT_FALSE(Refresh(material));
    EXPECT_EQ(Current(material), first);
    ASSERT_EQ(Errors().size(), 1U);
    EXPECT_EQ(Errors()[0], "httpclient, changed TLS material cannot be used, the old stays in use, " +
                               Path("key.pem") + ": key values mismatch");
    for (int i = 0; i < 30; ++i) {
        EXPECT_FALSE(Refresh(material));
    }
    EXPECT_EQ(Errors().size(), 1U) << "said once per change";
    Write("own.pem", "no certificate");
    EXPECT_FALSE(Refresh(material));
    ASSERT_EQ(Errors().size(), 2U);
    EXPECT_NE(Errors()[1].find(Path("own.pem") + ": no start line"), std::string::npos) << Errors()[1];
    WriteIdentity(Certificates::Instance().ca.IssueClient("mended"));
    EXPECT_TRUE(Refresh(material));
    EXPECT_EQ(SubjectSeen(Current(material)), "CN=mended");
    EXPECT_EQ(Errors().size(), 2U);
}

TEST_F(MaterialFiles, ThatVanishLeaveTheOldInUse) {
    TlsMaterial material(Settings());
    const auto first = Current(material);
    std::filesystem::remove(Path("key.pem"));
    EXPECT_FALSE(Refresh(material));
    EXPECT_EQ(Current(material), first);
    ASSERT_EQ(Errors().size(), 1U);
    EXPECT_NE(Errors()[0].find(Path("key.pem") + ": No such file or directory"), std::string::npos)
        << Errors()[0];
    Write("key.pem", Certificates::Instance().client.keyPem);
    EXPECT_FALSE(Refresh(material)) << "the same as before";
    EXPECT_EQ(Errors().size(), 1U);
}

TEST_F(MaterialFiles, MayComeLater) {
    const Identity client = Certificates::Instance().client;
    std::filesystem::remove(Path("key.pem"));
    TlsMaterial material(Settings());
    EXPECT_EQ(Current(material), nullptr);
    EXPECT_EQ(m_error, std::errc::no_such_file_or_directory);
    EXPECT_EQ(m_message, Path("key.pem") + ": No such file or directory");
    EXPECT_EQ(Current(material), nullptr) << "asked again at once";
    EXPECT_EQ(m_error, std::errc::no_such_file_or_directory);
    Write("key.pem", client.keyPem);
    EXPECT_NE(Current(material), nullptr) << "without any time going by: " << m_message;
    EXPECT_FALSE(m_error);
    EXPECT_TRUE(Errors().empty()) << "the call says it";
}

TEST_F(MaterialFiles, SayWhatIsWrongWithThem) {
    const auto complaint = [this](const std::string& name, const std::string& content) {
        const TlsSettings settings = Settings();
        Write(name, content);
        TlsMaterial material(settings);
        EXPECT_EQ(Current(material), nullptr) << name;
        EXPECT_TRUE(m_error);
        return m_message;
    };
    const std::string key = Certificates::Instance().client.keyPem;
    EXPECT_EQ(complaint("key.pem", "nothing"), Path("key.pem") + ": unsupported");
    Write("key.pem", key);
    EXPECT_EQ(complaint("ca.pem", "nothing"), Path("ca.pem") + ": no start line");
    EXPECT_EQ(complaint("ca.pem", ""), Path("ca.pem") + ": no start line");
    EXPECT_EQ(complaint("ca.pem", Certificates::Instance().ca.certificatePem() +
                                      "-----BEGIN CERTIFICATE-----\nAAAA\n-----END CERTIFICATE-----\n")
                  .substr(0, Path("ca.pem").size() + 2),
              Path("ca.pem") + ": ")
        << "one that is broken spoils them all";
}

TEST_F(MaterialFiles, HaveToBeFiles) {
    TlsSettings settings = Settings();
    settings.authorities = m_directory.path();
    TlsMaterial directory(settings);
    EXPECT_EQ(Current(directory), nullptr);
    EXPECT_EQ(m_error, std::errc::is_a_directory);
    settings.authorities = Path("pipe");
    ASSERT_EQ(mkfifo(settings.authorities.c_str(), 0600), 0);
    TlsMaterial pipe(settings);
    EXPECT_EQ(Current(pipe), nullptr) << "and nobody waits for a writer";
    EXPECT_EQ(m_error, std::errc::invalid_argument);
    settings.authorities = Path("huge");
    Write("huge", "");
    std::filesystem::resize_file(Path("huge"), (std::uintmax_t{16} << 20) + 1);
    TlsMaterial huge(settings);
    EXPECT_EQ(Current(huge), nullptr);
    EXPECT_EQ(m_error, std::errc::file_too_large);
}

TEST_F(MaterialFiles, MayHoldTheKeyBesideTheCertificate) {
    Write("both.pem",
          Certificates::Instance().client.certificatePem + Certificates::Instance().client.keyPem);
    TlsSettings settings = Settings();
    settings.certificate = Path("both.pem");
    settings.key.clear();
    TlsMaterial material(settings);
    EXPECT_EQ(SubjectSeen(Current(material)), "CN=client");
}

TEST_F(MaterialFiles, OfAKeyWithoutACertificateAreWrong) {
    TlsSettings settings = Settings();
    settings.certificate.clear();
    TlsMaterial material(settings);
    EXPECT_EQ(Current(material), nullptr);
    EXPECT_EQ(m_message, Path("key.pem") + ": a key without a certificate");
}

TEST_F(MaterialFiles, AskForThePasswordWheneverTheKeyIsRead) {
    Write("key.pem", EncryptKey(Certificates::Instance().client.keyPem, PASSWORD));
    int asked = 0;
    TlsSettings settings = Settings();
    settings.keyPassword = [&asked] {
        ++asked;
        return std::string(PASSWORD);
    };
    TlsMaterial material(settings);
    EXPECT_EQ(SubjectSeen(Current(material)), "CN=client");
    EXPECT_EQ(asked, 1);
    Current(material);
    Refresh(material);
    EXPECT_EQ(asked, 1);
    const Identity renewed = Certificates::Instance().ca.IssueClient("renewed");
    Write("own.pem", renewed.certificatePem);
    Write("key.pem", EncryptKey(renewed.keyPem, PASSWORD));
    EXPECT_TRUE(Refresh(material));
    EXPECT_EQ(asked, 2);
}

TEST_F(MaterialFiles, WithAPasswordThatIsMissingOrWrongAreWrong) {
    Write("key.pem", EncryptKey(Certificates::Instance().client.keyPem, PASSWORD));
    const std::vector<std::function<std::string()>> wrong = {nullptr, [] { return std::string(); },
                                                             [] { return std::string("another"); },
                                                             [] { return std::string(2000, 'x'); }};
    for (std::size_t i = 0; i < wrong.size(); ++i) {
        TlsSettings settings = Settings();
        settings.keyPassword = wrong[i];
        TlsMaterial material(settings);
        EXPECT_EQ(Current(material), nullptr) << i;
        EXPECT_EQ(m_message.find(Path("key.pem") + ": "), 0U) << m_message;
        EXPECT_EQ(&m_error.category(), &TlsCategory()) << i;
    }
}

TEST_F(MaterialFiles, CountAsWrongWhenThePasswordFunctionThrows) {
    Write("key.pem", EncryptKey(Certificates::Instance().client.keyPem, PASSWORD));
    bool ready = false;
    TlsSettings settings = Settings();
    settings.keyPassword = [&ready] {
        if (!ready) {
            throw 42; // anything at all
        }
        return std::string(PASSWORD);
    };
    TlsMaterial material(settings);
    EXPECT_EQ(Current(material), nullptr);
    EXPECT_EQ(m_message, Path("key.pem") + ": the key password function failed");
    EXPECT_EQ(m_error, TlsError(ERR_LIB_PEM, PEM_R_BAD_PASSWORD_READ));
    ready = true;
    EXPECT_EQ(Current(material), nullptr) << "the files are the same";
    m_now += 1s;
    EXPECT_NE(Current(material), nullptr) << "a second later it is asked again";
}

TEST_F(MaterialFiles, AreTriedAgainAfterAWhileEvenIfUnchanged) {
    bool ready = true;
    TlsSettings settings = Settings();
    settings.keyPassword = [&ready] {
        return ready ? std::string(PASSWORD) : throw std::runtime_error("not now");
    };
    Write("key.pem", EncryptKey(Certificates::Instance().client.keyPem, PASSWORD));
    TlsMaterial material(settings);
    ASSERT_NE(Current(material), nullptr);
    ready = false;
    const Identity renewed = Certificates::Instance().ca.IssueClient("renewed");
    Write("own.pem", renewed.certificatePem);
    Write("key.pem", EncryptKey(renewed.keyPem, PASSWORD));
    EXPECT_FALSE(Refresh(material));
    EXPECT_EQ(Errors().size(), 1U);
    ready = true;
    EXPECT_TRUE(Refresh(material, 10s));
    EXPECT_EQ(Errors().size(), 1U);
}

TEST_F(MaterialFiles, AnswerAPasswordFunctionThatNeedsThem) {
    TlsMaterial* self = nullptr;
    std::error_code inner;
    TlsSettings settings = Settings();
    settings.keyPassword = [&] {
        std::string message;
        EXPECT_EQ(self->Current(m_now, inner, message), nullptr);
        EXPECT_FALSE(self->Refresh(m_now));
        return std::string();
    };
    TlsMaterial material(settings);
    self = &material;
    EXPECT_NE(Current(material), nullptr);
    EXPECT_EQ(inner, std::errc::resource_deadlock_would_occur);
}

TEST_F(MaterialFiles, AreReadByOneOfManyThreads) {
    int asked = 0;
    TlsSettings settings = Settings();
    settings.keyPassword = [&asked] {
        ++asked;
        return std::string();
    };
    TlsMaterial material(settings);
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&material, now = m_now] {
            std::error_code error = std::make_error_code(std::errc::operation_in_progress);
            std::string message;
            while (error == std::errc::operation_in_progress) {
                error.clear();
                material.Current(now, error, message);
            }
            EXPECT_FALSE(error) << message;
            material.Refresh(now + 1s);
            EXPECT_NE(material.InUse(), nullptr);
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(asked, 1);
}

TEST_F(MaterialFiles, AreWaitedForWithoutALockWhileAnotherThreadReadsThem) {
    std::promise<void> asked;
    std::promise<void> answer;
    TlsSettings settings = Settings();
    settings.keyPassword = [&] {
        asked.set_value();
        answer.get_future().wait();
        return std::string();
    };
    TlsMaterial material(settings);
    const auto waker = std::make_shared<CountingWaker>();
    EXPECT_FALSE(material.AwaitReader(waker)) << "nobody reads";
    std::thread reader([&] {
        std::error_code error;
        std::string message;
        EXPECT_NE(material.Current(m_now, error, message), nullptr) << message;
    });
    asked.get_future().wait();
    EXPECT_EQ(Current(material), nullptr);
    EXPECT_EQ(m_error, std::errc::operation_in_progress);
    EXPECT_TRUE(material.AwaitReader(waker));
    EXPECT_EQ(waker->count, 0);
    answer.set_value();
    reader.join();
    EXPECT_EQ(waker->count, 1);
    EXPECT_FALSE(material.AwaitReader(waker));
    EXPECT_NE(Current(material), nullptr);
}

TEST_F(MaterialFiles, ThatAreWrongAreNotReadAgainByThoseWhoWaited) {
    int asked = 0;
    TlsSettings settings = Settings();
    settings.keyPassword = [&]() -> std::string {
        ++asked;
        throw std::runtime_error("no password");
    };
    TlsMaterial material(settings);
    const Time begun = Clock::now();
    m_now = begun - 1s; // as if the password had been a second in coming
    EXPECT_EQ(Current(material), nullptr);
    m_now = begun;
    EXPECT_EQ(Current(material), nullptr);
    EXPECT_EQ(asked, 1);
}

TEST_F(MaterialFiles, CannotVerifyAHostThatHasNoName) {
    TlsSettings settings = Settings();
    settings.name.clear();
    TlsMaterial material(settings);
    EXPECT_EQ(Current(material), nullptr);
    EXPECT_EQ(m_error, std::errc::invalid_argument);
    settings.verifyHost = false;
    TlsMaterial unverified(settings);
    EXPECT_NE(Current(unverified), nullptr);
    settings.name = std::string(256, 'x');
    TlsMaterial longName(settings);
    EXPECT_EQ(Current(longName), nullptr);
    EXPECT_EQ(m_error, std::errc::filename_too_long);
}

TEST(MaterialTexts, AreCheckedAtOnce) {
    TlsSettings settings = TrustingSettings();
    settings.certificate = Certificates::Instance().client.certificatePem;
    settings.key = EncryptKey(Certificates::Instance().client.keyPem, PASSWORD);
    int asked = 0;
    settings.keyPassword = [&asked] {
        ++asked;
        return std::string(PASSWORD);
    };
    TlsMaterial material(settings);
    material.CheckTexts();
    material.CheckTexts();
    ASSERT_NE(material.InUse(), nullptr);
    EXPECT_EQ(SubjectSeen(material.InUse()), "CN=client");
    EXPECT_FALSE(material.Refresh(Clock::now() + 10s));
    EXPECT_EQ(asked, 1) << "they are read once";
    EXPECT_EQ(material.InUse()->settings().key, "") << "and nobody keeps them";
}

TEST(MaterialTexts, ThatAreWrongAreAnInvalidArgument) {
    const auto complaint = [](const std::function<void(TlsSettings&)>& spoil) {
        TlsSettings settings = TrustingSettings();
        settings.certificate = Certificates::Instance().client.certificatePem;
        settings.key = Certificates::Instance().client.keyPem;
        spoil(settings);
        TlsMaterial material(settings);
        try {
            material.CheckTexts();
        } catch (const std::invalid_argument& wrong) {
            return std::string(wrong.what());
        }
        return std::string("none");
    };
    EXPECT_EQ(complaint([](TlsSettings&) {}), "none");
    EXPECT_EQ(complaint([](TlsSettings& settings) { settings.authorities = "x"; }),
              "authorities: no start line");
    EXPECT_EQ(complaint([](TlsSettings& settings) { settings.certificate = "x"; }),
              "certificate: no start line");
    EXPECT_EQ(complaint([](TlsSettings& settings) { settings.key = "x"; }), "key: unsupported");
    EXPECT_EQ(
        complaint([](TlsSettings& settings) { settings.key = Certificates::Instance().stranger.keyPem; }),
        "key: key values mismatch");
    EXPECT_EQ(complaint([](TlsSettings& settings) { settings.certificate.clear(); }),
              "key: a key without a certificate");
    EXPECT_EQ(complaint([](TlsSettings& settings) { settings.key.clear(); }), "certificate: unsupported");
    EXPECT_EQ(complaint([](TlsSettings& settings) {
                  settings.key = EncryptKey(Certificates::Instance().client.keyPem, PASSWORD);
                  settings.keyPassword = [] { return std::string("wrong"); };
              }).substr(0, 5),
              "key: ");
}

TEST(MaterialTexts, MayHoldAChainBehindTheCertificate) {
    TlsSettings settings = TrustingSettings();
    settings.certificate =
        Certificates::Instance().client.certificatePem + Certificates::Instance().ca.certificatePem();
    settings.key = Certificates::Instance().client.keyPem;
    const auto context = ContextOf(settings);
    STACK_OF(X509)* chain = nullptr;
    ASSERT_EQ(SSL_CTX_get0_chain_certs(context->get(), &chain), 1);
    EXPECT_EQ(sk_X509_num(chain), 1) << "it is sent with the certificate";
}

TEST(MaterialTexts, AreNotAskedForWhereThereAreFiles) {
    TlsSettings settings;
    settings.from = TlsSettings::From::Files;
    settings.authorities = "/none";
    settings.name = "localhost";
    TlsMaterial material(settings);
    EXPECT_NO_THROW(material.CheckTexts());
    EXPECT_EQ(material.InUse(), nullptr);
}

namespace {

std::string MasterKey(const std::string& path) {
    EXPECT_EQ(VornMasterKey::Make(path), VORN_OK);
    return path;
}

std::string Encrypted(const std::string& text) {
    std::string cipherText;
    EXPECT_EQ(VornCipherEncrypt::Encrypt(text, cipherText, VORN_CIPHER_KEY_TLS, 19), 0);
    return cipherText;
}

class PlatformMaterial : public ::testing::Test {
protected:
    PlatformMaterial() { TraceRecorder::Instance().Clear(); }
    ~PlatformMaterial() override { EXPECT_EQ(TraceRecorder::Instance().CountContaining(PASSWORD), 0U); }

    static TlsSettings Settings() {
        TlsSettings settings;
        settings.name = "localhost";
        return settings;
    }
    std::shared_ptr<const TlsContext> Current(TlsMaterial& material) {
        return material.Current(m_now, m_error, m_message);
    }

    const TemporaryDirectory m_keys;
    const ScopedEnvironment m_keyFile{"VORN_KEY_FILE", MasterKey(m_keys.path() / "master.key")};
    const TlsRoot m_root{Certificates::Instance().ca.certificatePem(), Certificates::Instance().client,
                         PASSWORD, Encrypted(PASSWORD)};
    const ScopedEnvironment m_sslRoot{"SSL_ROOT", m_root.path()};
    Time m_now = Clock::now() + 1000h; // later than any clock that is read meanwhile
    std::error_code m_error;
    std::string m_message;
};

} // namespace

TEST_F(PlatformMaterial, IsReadBelowTheRootWithThePasswordOfTheManifest) {
    TlsMaterial material(Settings());
    const auto context = Current(material);
    ASSERT_NE(context, nullptr) << m_message;
    EXPECT_EQ(SubjectSeen(context), "CN=client");
    EXPECT_TRUE(TraceRecorder::Instance().Messages().empty());
}

TEST_F(PlatformMaterial, IsNewWhenTheManifestAndTheKeyAre) {
    TlsMaterial material(Settings());
    ASSERT_NE(Current(material), nullptr);
    const Identity renewed = Certificates::Instance().ca.IssueClient("renewed");
    m_root.Replace("server.cer", renewed.certificatePem);
    m_root.Replace("server_key.pem", EncryptKey(renewed.keyPem, "another"));
    EXPECT_FALSE(material.Refresh(m_now + 1s)) << "the manifest has the old password";
    EXPECT_EQ(Errors().size(), 1U);
    m_root.Replace("manifest.json", Manifest(Encrypted("another")));
    EXPECT_TRUE(material.Refresh(m_now + 2s));
    EXPECT_EQ(SubjectSeen(material.InUse()), "CN=renewed");
}

TEST_F(PlatformMaterial, NeedsNoManifestForAKeyThatIsNotEncrypted) {
    m_root.Replace("server_key.pem", Certificates::Instance().client.keyPem);
    for (const char* manifest : {"", "no json", "[]", R"({"filelist": 7})"}) {
        m_root.Replace("manifest.json", manifest);
        TlsMaterial material(Settings());
        EXPECT_NE(Current(material), nullptr) << manifest << ": " << m_message;
    }
    m_root.Remove("manifest.json");
    TlsMaterial material(Settings());
    EXPECT_NE(Current(material), nullptr);
}

TEST_F(PlatformMaterial, IsWrongWhereThePasswordCannotBeDecrypted) {
    m_root.Replace("manifest.json", Manifest("vorn1:forged"));
    TlsMaterial material(Settings());
    EXPECT_EQ(Current(material), nullptr);
    EXPECT_EQ(m_message.find(m_root.path() + "/internal/server_key.pem: "), 0U) << m_message;
}

TEST_F(PlatformMaterial, SaysWhichFileIsMissing) {
    for (const char* name : {"trust.cer", "server.cer", "server_key.pem"}) {
        const std::string path = m_root.File(name);
        const TemporaryDirectory aside;
        std::filesystem::rename(path, aside.path() / name);
        TlsMaterial material(Settings());
        EXPECT_EQ(Current(material), nullptr);
        EXPECT_EQ(m_message, path + ": No such file or directory");
        std::filesystem::rename(aside.path() / name, path);
    }
}

TEST_F(PlatformMaterial, TrustsTheDirectoryOfTheAuthoritiesAsWell) {
    // By the hash of its subject, as tools for certificates lay it.
    m_root.Replace("trust.cer", Certificates::Instance().foreign.certificatePem());
    const std::string name = HashedName(Certificates::Instance().ca.certificatePem());
    m_root.Replace(name, Certificates::Instance().ca.certificatePem());
    TlsMaterial material(Settings());
    EXPECT_TRUE(Trusts(Current(material)));
}

TEST_F(PlatformMaterial, IsNewWhenTheDirectoryOfTheAuthoritiesIs) {
    m_root.Replace("trust.cer", Certificates::Instance().foreign.certificatePem());
    TlsMaterial material(Settings());
    EXPECT_FALSE(Trusts(Current(material)));
    const std::string name = HashedName(Certificates::Instance().ca.certificatePem());
    m_root.Replace("notes.txt", "no certificate, and nobody looks for one");
    EXPECT_FALSE(material.Refresh(m_now + 1s));
    m_root.Replace(name, Certificates::Instance().ca.certificatePem());
    EXPECT_TRUE(material.Refresh(m_now + 2s));
    EXPECT_TRUE(Trusts(material.InUse()));
    m_root.Replace(name, "no certificate");
    EXPECT_TRUE(material.Refresh(m_now + 3s));
    EXPECT_FALSE(Trusts(material.InUse())) << "what is wrong there is passed over";
    EXPECT_TRUE(Errors().empty());
}

namespace {

/// Settings without authorities, and a system of the test's own.
class SystemsAuthorities : public ::testing::Test {
protected:
    static TlsSettings Settings(TlsSettings::From from) {
        TlsSettings settings;
        settings.from = from;
        settings.name = "localhost";
        return settings;
    }
    std::string Path(const std::string& name) const { return m_directory.path() / name; }
    std::shared_ptr<const TlsContext> Current(TlsMaterial& material) {
        return material.Current(m_now, m_error, m_message);
    }

    const std::string m_pem = Certificates::Instance().ca.certificatePem();
    const TemporaryDirectory m_directory;
    const ScopedEnvironment m_file{"SSL_CERT_FILE", Path("bundle.pem")};
    const ScopedEnvironment m_directories{"SSL_CERT_DIR", Path("none") + "::" + m_directory.path().string()};
    Time m_now = Clock::now() + 1000h; // later than any clock that is read meanwhile
    std::error_code m_error;
    std::string m_message;
};

} // namespace

TEST_F(SystemsAuthorities, AreThoseOfItsFile) {
    m_directory.Write("bundle.pem", Certificates::Instance().foreign.certificatePem() + m_pem);
    for (const auto from : {TlsSettings::From::Files, TlsSettings::From::Memory}) {
        TlsMaterial material(Settings(from));
        EXPECT_TRUE(Trusts(Current(material))) << m_message;
    }
}

TEST_F(SystemsAuthorities, AreThoseOfItsDirectoriesAsWell) {
    m_directory.Write("bundle.pem", Certificates::Instance().foreign.certificatePem());
    m_directory.Write(HashedName(m_pem), m_pem);
    for (const auto from : {TlsSettings::From::Files, TlsSettings::From::Memory}) {
        TlsMaterial material(Settings(from));
        EXPECT_TRUE(Trusts(Current(material))) << m_message;
    }
}

TEST_F(SystemsAuthorities, MayBeNone) {
    TlsMaterial material(Settings(TlsSettings::From::Files));
    const auto context = Current(material);
    ASSERT_NE(context, nullptr) << m_message;
    EXPECT_FALSE(Trusts(context));
}

TEST_F(SystemsAuthorities, AreOnlyThoseUnderHashedNames) {
    for (const char* name :
         {"ca.pem", "0123456.0", "012345678.0", "0123456A.0", "01234567.r0", "01234567."}) {
        m_directory.Write(name, m_pem);
    }
    TlsMaterial material(Settings(TlsSettings::From::Files));
    EXPECT_FALSE(Trusts(Current(material)));
    m_directory.Write("01234567.10", m_pem);
    EXPECT_TRUE(material.Refresh(m_now + 1s));
    EXPECT_TRUE(Trusts(material.InUse()));
}

TEST_F(SystemsAuthorities, ThatAreWrongArePassedOver) {
    m_directory.Write("bundle.pem", "no certificate");
    m_directory.Write("00000000.0", "no certificate");
    m_directory.Write("00000000.1", m_pem + "-----BEGIN CERTIFICATE-----\nAAAA\n-----END CERTIFICATE-----\n");
    std::filesystem::create_directory(Path("00000000.2"));
    std::filesystem::create_symlink(Path("nowhere"), Path("00000000.3"));
    TlsMaterial material(Settings(TlsSettings::From::Files));
    const auto context = Current(material);
    ASSERT_NE(context, nullptr) << m_message;
    EXPECT_TRUE(Trusts(context));
    EXPECT_EQ(ERR_peek_error(), 0U);
}

TEST_F(SystemsAuthorities, ArePickedUpWhenTheyChange) {
    TlsMaterial material(Settings(TlsSettings::From::Files));
    EXPECT_FALSE(Trusts(Current(material)));
    m_directory.Write("bundle.pem", m_pem);
    EXPECT_TRUE(material.Refresh(m_now + 1s));
    EXPECT_TRUE(Trusts(material.InUse()));
    std::filesystem::remove(Path("bundle.pem"));
    EXPECT_TRUE(material.Refresh(m_now + 2s));
    EXPECT_FALSE(Trusts(material.InUse()));
    m_directory.Write(HashedName(m_pem), m_pem);
    EXPECT_TRUE(material.Refresh(m_now + 3s));
    EXPECT_TRUE(Trusts(material.InUse()));
    EXPECT_FALSE(material.Refresh(m_now + 4s));
}

TEST_F(SystemsAuthorities, AreNotTakenForNoneWhereDescriptorsAreUsedUp) {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "the undefined-behaviour sanitizer needs descriptors when it looks at an object's type";
#endif
    m_directory.Write("bundle.pem", m_pem);
    TlsMaterial material(Settings(TlsSettings::From::Files));
    {
        const ResourceLimit none(RLIMIT_NOFILE, 0);
        EXPECT_EQ(Current(material), nullptr);
        EXPECT_EQ(m_error, std::errc::too_many_files_open);
    }
    m_now += 1s;
    EXPECT_TRUE(Trusts(Current(material)));
}
