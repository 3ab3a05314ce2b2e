// SPDX-License-Identifier: Apache-2.0
// The manifest, sound and otherwise: what is taken from it, and what is said about it.
#include <filesystem>

#include <vorncipher/VornStatus.h>

#include "TlsTest.h"
#include "pool/HttpsConnection.h"
#include "setting/HeldPlatform.h"
#include "setting/Mutator.h"
#include "setting/Secrets.h"
#include "setting/WithoutPrivileges.h"
#include "tests/support/ResourceLimit.h"

using namespace httpclient::testing;

namespace {

class ManifestOf : public TlsTest {
protected:
    /// Makes a connection with this manifest, and a cipher that knows no text.
    /// @return what the connection logged.
    Lines ConnectWith(const std::string& manifest) {
        m_tls.root().Replace("manifest.json", manifest);
        return ConnectNow();
    }
    Lines ConnectNow() {
        HeldPlatform platform;
        platform.AnswerDecryption(99, "");
        Lines lines = Connect();
        m_cipherText = platform.Decryptions().at(0).cipherText;
        EXPECT_EQ(lines.back(), message::NoPlainText(99));
        lines.pop_back();
        return lines;
    }
    /// @return what is said of a manifest that cannot be parsed.
    Lines NotParsed() const {
        return {message::NotParsed(m_tls.root().path() + "/"), message::NO_CIPHER_TEXT};
    }

    std::string m_cipherText; ///< What the cipher was asked to decrypt.
};

const Lines NOTHING;
const Lines EMPTY{message::NO_CIPHER_TEXT};
const Lines EXCEPTION{message::EXCEPTION, message::NO_CIPHER_TEXT};

std::string WithKeyPass(const std::string& value) {
    return R"({"filelist": {"server_key.pem": {"keyPass": )" + value + "}}}";
}

} // namespace

TEST_F(ManifestOf, TheRightShapeGivesItsText) {
    EXPECT_EQ(ConnectWith(WithKeyPass(R"("text")")), NOTHING);
    EXPECT_EQ(m_cipherText, "text");
}

TEST_F(ManifestOf, MoreMembersThanNeededGivesTheOneThatCounts) {
    EXPECT_EQ(ConnectWith(R"({"version": 2, "filelist": {"server.cer": {"keyPass": "other"},
                              "server_key.pem": {"hash": [1, 2], "keyPass": "text"}}, "keyPass": "top"})"),
              NOTHING);
    EXPECT_EQ(m_cipherText, "text");
}

TEST_F(ManifestOf, EscapedTextGivesTheTextItself) {
    EXPECT_EQ(ConnectWith(WithKeyPass(R"("a\"\\\u0041\u00e4\n")")), NOTHING);
    EXPECT_EQ(m_cipherText, "a\"\\A\xc3\xa4\n");
}

TEST_F(ManifestOf, TextThatIsNotUtf8GivesItsBytes) {
    EXPECT_EQ(ConnectWith(WithKeyPass("\"\xff\x80t\"")), NOTHING);
    EXPECT_EQ(m_cipherText, "\xff\x80t");
}

TEST_F(ManifestOf, MissingOrNullMembersGivesAnEmptyTextAndNoException) {
    for (const char* manifest :
         {"{}", "null", R"({"filelist": {}})", R"({"filelist": null})",
          R"({"filelist": {"server_key.pem": {}}})", R"({"filelist": {"server_key.pem": null}})",
          R"({"Filelist": {"server_key.pem": {"keyPass": "text"}}})",
          R"({"filelist": {"server_key.pem": {"keypass": "text"}}})"}) {
        EXPECT_EQ(ConnectWith(manifest), EMPTY) << manifest;
        EXPECT_EQ(m_cipherText, "") << manifest;
    }
    for (const char* value : {"null", "\"\""}) {
        EXPECT_EQ(ConnectWith(WithKeyPass(value)), EMPTY) << value;
        EXPECT_EQ(m_cipherText, "");
    }
}

TEST_F(ManifestOf, AnythingButAnObjectAtAnyLevelGivesTheException) {
    for (const char* value :
         {"[]", "[1]", R"([{"keyPass": "text"}])", "0", "7", "-1.5", "\"text\"", "\"\"", "true", "false"}) {
        EXPECT_EQ(ConnectWith(value), EXCEPTION) << value;
        EXPECT_EQ(ConnectWith(R"({"filelist": )" + std::string(value) + "}"), EXCEPTION) << value;
        EXPECT_EQ(ConnectWith(R"({"filelist": {"server_key.pem": )" + std::string(value) + "}}"), EXCEPTION)
            << value;
        EXPECT_EQ(m_cipherText, "");
    }
}

TEST_F(ManifestOf, AnObjectOrArrayAsTextGivesTheException) {
    for (const char* value : {"{}", "[]", R"({"keyPass": "text"})", R"(["text"])"}) {
        EXPECT_EQ(ConnectWith(WithKeyPass(value)), EXCEPTION) << value;
        EXPECT_EQ(m_cipherText, "");
    }
}

TEST_F(ManifestOf, ANumberOrTruthValueAsTextGivesItAsText) {
    const std::pair<const char*, const char*> rows[] = {{"7", "7"},
                                                        {"-3", "-3"},
                                                        {"true", "true"},
                                                        {"false", "false"},
                                                        {"18446744073709551615", "18446744073709551615"}};
    for (const auto& [value, text] : rows) {
        EXPECT_EQ(ConnectWith(WithKeyPass(value)), NOTHING) << value;
        EXPECT_EQ(m_cipherText, text);
    }
}

TEST_F(ManifestOf, NoJsonGivesTheParseErrorWithItsPath) {
    for (const char* manifest : {"", " ", "\n", "{", "}", "filelist", R"({"filelist": })",
                                 R"({"filelist": {}} x)", R"({"filelist": {},})", "// comment\n{}",
                                 "{'filelist': {}}", "nul", "<html></html>", "\xef\xbb\xbf{", "\xff\xfe{"}) {
        EXPECT_EQ(ConnectWith(manifest), NotParsed()) << manifest;
        EXPECT_EQ(m_cipherText, "");
    }
}

TEST_F(ManifestOf, NulBytesGivesTheParseErrorToo) {
    using namespace std::string_literals;
    EXPECT_EQ(ConnectWith("\0"s), NotParsed());
    EXPECT_EQ(ConnectWith(WithKeyPass("\"te\0xt\""s)), NotParsed());
    EXPECT_EQ(ConnectWith(WithKeyPass("\"text\"") + "\0"s), NotParsed());
}

TEST_F(ManifestOf, AnEscapedNulGivesTheTextWithIt) {
    EXPECT_EQ(ConnectWith(WithKeyPass(R"("te\u0000xt")")), NOTHING);
    EXPECT_EQ(m_cipherText, std::string("te\0xt", 5));
}

TEST_F(ManifestOf, DeepNestingGivesTheParseError) {
    for (const std::size_t depth : {2000U, 100000U}) {
        EXPECT_EQ(ConnectWith(std::string(depth, '[') + std::string(depth, ']')), NotParsed());
        std::string objects;
        for (std::size_t i = 0; i < depth; ++i) {
            objects += "{\"filelist\":";
        }
        EXPECT_EQ(ConnectWith(objects + "1" + std::string(depth, '}')), NotParsed());
    }
}

TEST_F(ManifestOf, NoFileGivesAnEmptyText) {
    m_tls.root().Remove("manifest.json");
    EXPECT_EQ(ConnectNow(), EMPTY);
    EXPECT_EQ(m_cipherText, "");
}

TEST_F(ManifestOf, NoDirectoryGivesAnEmptyText) {
    const ScopedEnvironment root("SSL_ROOT", m_tls.root().path() + "/nowhere");
    EXPECT_EQ(ConnectNow(), EMPTY);
}

TEST_F(ManifestOf, APathThatLeadsNowhereGivesAnEmptyText) {
    const std::string path = m_tls.root().path();
    for (const std::string& value : {path + "/internal/trust.cer", // a file
                                     path + "/" + std::string(5000, 'x'), "/" + std::string(300, 'x')}) {
        const ScopedEnvironment root("SSL_ROOT", value);
        EXPECT_EQ(ConnectNow(), EMPTY) << value;
    }
    m_tls.root().Remove("manifest.json");
    std::filesystem::create_symlink("manifest.json", m_tls.root().File("manifest.json"));
    EXPECT_EQ(ConnectNow(), EMPTY);
}

TEST_F(ManifestOf, AnUnreadableFileGivesAnEmptyText) {
    namespace fs = std::filesystem;
    m_tls.root().Replace("manifest.json", WithKeyPass(R"("text")"));
    const WithoutPrivileges ordinary(m_tls.root().path());
    if (!ordinary.held()) {
        GTEST_SKIP() << "root reads every file, and cannot become another user here";
    }
    if (ConnectNow() != NOTHING) {
        GTEST_SKIP() << "an ordinary user does not even get to the directory of temporary files";
    }
    fs::permissions(m_tls.root().File("manifest.json"), fs::perms::none);
    EXPECT_EQ(ConnectNow(), EMPTY);
    EXPECT_EQ(m_cipherText, "");
}

TEST_F(ManifestOf, NoDescriptorLeftGivesAnEmptyText) {
    m_tls.root().Replace("manifest.json", WithKeyPass(R"("text")"));
    EXPECT_EQ(ConnectNow(), NOTHING);
    const ResourceLimit none(RLIMIT_NOFILE, 0); // no file can be opened
    EXPECT_EQ(ConnectNow(), EMPTY);
}

TEST_F(ManifestOf, ADirectoryGivesTheException) {
    m_tls.root().Remove("manifest.json");
    std::filesystem::create_directory(m_tls.root().File("manifest.json"));
    EXPECT_EQ(ConnectNow(), EXCEPTION); // it opens, but cannot be read
    EXPECT_EQ(m_cipherText, "");
}

TEST_F(ManifestOf, AFileWithAReadErrorGivesTheException) {
    m_tls.root().Remove("manifest.json");
    std::filesystem::create_symlink("/proc/self/mem", m_tls.root().File("manifest.json"));
    EXPECT_EQ(ConnectNow(), EXCEPTION); // nothing is mapped at its beginning
    EXPECT_EQ(m_cipherText, "");
}

TEST_F(ManifestOf, APathLikeAFormatIsLoggedAsItIs) {
    const std::string root = m_tls.root().path() + "/%s%n%d";
    std::filesystem::create_directories(root);
    std::filesystem::copy(m_tls.root().path() + "/internal", root + "/internal");
    std::filesystem::resize_file(root + "/internal/manifest.json", 1);
    const ScopedEnvironment variable("SSL_ROOT", root);
    EXPECT_EQ(ConnectNow(), (Lines{message::NotParsed(root + "/"), message::NO_CIPHER_TEXT}));
}

TEST_F(ManifestOf, AHundredMegabytesOfNothingGivesTheParseError) {
    m_tls.root().Replace("manifest.json", "{");
    std::filesystem::resize_file(m_tls.root().File("manifest.json"), 100'000'000);
    EXPECT_EQ(ConnectNow(), NotParsed());
}

TEST_F(ManifestOf, AMegabyteOfTextGivesItWhole) {
    const std::string text(std::size_t{1} << 20, 'x');
    EXPECT_EQ(ConnectWith(WithKeyPass('"' + text + '"')), NOTHING);
    EXPECT_TRUE(m_cipherText == text);
}

TEST_F(ManifestOf, AnyFaultLeavesTheOutputAsItWas) {
    const CHttpsConnection connection("127.0.0.1", 443);
    for (const char* manifest : {"[]", "{", "{\"filelist\": 1}"}) {
        m_tls.root().Replace("manifest.json", manifest);
        std::string text = "before";
        connection.GetCipherText(text);
        EXPECT_EQ(text, "before") << manifest;
    }
    m_tls.root().Remove("manifest.json");
    std::string text = "before";
    connection.GetCipherText(text);
    EXPECT_EQ(text, "before");
}

TEST_F(ManifestOf, AMissingMemberIsNoFaultAndEmptiesTheOutput) {
    const CHttpsConnection connection("127.0.0.1", 443);
    for (const char* manifest : {"{}", R"({"filelist": {}})", R"({"filelist": {"server_key.pem": {}}})"}) {
        m_tls.root().Replace("manifest.json", manifest);
        std::string text = "before";
        connection.GetCipherText(text);
        EXPECT_EQ(text, "") << manifest;
    }
}

TEST_F(ManifestOf, AMissingTextIsRefusedByTheRealCipherToo) {
    m_tls.root().Replace("manifest.json", R"({"filelist": {"server_key.pem": {}}})");
    EXPECT_EQ(Connect(), (Lines{message::NO_CIPHER_TEXT, message::NoPlainText(VORN_TEXT_REFUSED)}));
}

TEST_F(ManifestOf, TextsThatTheCipherRefusesGivesItsStatus) {
    const std::string sound = TlsSetting::Encrypted(TlsSetting::Password());
    std::string tampered = sound;
    tampered.back() = tampered.back() == 'A' ? 'B' : 'A';
    for (const std::string& text : {tampered, std::string("text"), sound + "x", sound.substr(1),
                                    TlsSetting::Encrypted(TlsSetting::Password(), 2, 19),
                                    TlsSetting::Encrypted(TlsSetting::Password(), 1, 18)}) {
        m_tls.root().Replace("manifest.json", Manifest(text));
        EXPECT_EQ(Connect(), Lines{message::NoPlainText(VORN_TEXT_REFUSED)});
    }
}

TEST_F(ManifestOf, AnEncryptedEmptyPasswordIsReportedWithStatus0) {
    m_tls.root().Replace("manifest.json", Manifest(TlsSetting::Encrypted("")));
    EXPECT_EQ(Connect(), Lines{message::NoPlainText(0)});
}

TEST_F(ManifestOf, NoMasterKeyGivesTheCiphersStatus) {
    const ScopedEnvironment unset("VORN_KEY_FILE");
    EXPECT_EQ(Connect(), Lines{message::NoPlainText(VORN_KEY_FILE_UNSET)});
}

TEST_F(ManifestOf, DamagedTextNeverDoesMoreThanItsMessagesSay) {
    const CHttpsConnection connection("127.0.0.1", 443);
    const std::string sound =
        R"({"version": 1.5e3, "filelist": {"server_key.pem": {"keyPass": "vorn1:QUJD", "x": []}}})";
    std::size_t parsed = 0;
    for (unsigned int seed = 1; seed <= 1000; ++seed) {
        Mutator mutator(seed);
        m_tls.root().Replace("manifest.json", mutator.Mutate(sound));
        StartLog(); // no secret is about
        std::string text;
        connection.GetCipherText(text);
        const Lines lines = Logged(0);
        if (lines.empty()) {
            ++parsed;
        } else {
            EXPECT_TRUE(lines == Lines{NotParsed().front()} || lines == Lines{message::EXCEPTION}) << seed;
        }
        EXPECT_TRUE(lines.empty() || text.empty()) << seed;
    }
    EXPECT_GT(parsed, 50U); // some of the damage is harmless, or it would prove little
    EXPECT_LT(parsed, 950U);
}
