// SPDX-License-Identifier: Apache-2.0
#include <atomic>
#include <set>
#include <thread>
#include <vector>

#include <openssl/err.h>

#include <vorncipher/VornCipher.h>
#include <vorncipher/VornCipherEncrypt.h>

#include "MasterKeyFixture.h"

namespace {

constexpr unsigned int TLS_VALUE = 19;
constexpr std::size_t MAX_PLAIN_TEXT = VornCipherEncrypt::MAX_PLAIN_TEXT;
const std::string UNTOUCHED = "what stood here before";

class VornCipherTest : public MasterKeyFixture {
protected:
    static std::string Encrypted(const std::string& plain) {
        std::string text;
        EXPECT_EQ(VornCipherEncrypt::Encrypt(plain, text, VORN_CIPHER_KEY_TLS, TLS_VALUE), VORN_OK);
        return text;
    }

    static std::string Decrypted(const std::string& text) {
        std::string plain = UNTOUCHED;
        EXPECT_EQ(VornCipher::Decrypt(text, plain, VORN_CIPHER_KEY_TLS, TLS_VALUE), VORN_OK);
        return plain;
    }

    static void ExpectRefused(const std::string& text, VornCipherKey key = VORN_CIPHER_KEY_TLS,
                              unsigned int value = TLS_VALUE) {
        std::string plain = UNTOUCHED;
        EXPECT_EQ(VornCipher::Decrypt(text, plain, key, value), VORN_TEXT_REFUSED) << text.substr(0, 200);
        EXPECT_EQ(plain, UNTOUCHED) << text.substr(0, 200);
    }
};

TEST_F(VornCipherTest, GivesBackWhatWasEncrypted) {
    EXPECT_EQ(Decrypted(Encrypted("p4ss word!")), "p4ss word!");
}

TEST_F(VornCipherTest, KeepsEveryByteIncludingNul) {
    std::string all;
    for (int byte = 0; byte < 256; ++byte) {
        all.push_back(static_cast<char>(byte));
    }
    EXPECT_EQ(Decrypted(Encrypted(all)), all);
    EXPECT_EQ(Decrypted(Encrypted(std::string(5, '\0'))), std::string(5, '\0'));
}

TEST_F(VornCipherTest, GivesBackEveryLengthAroundTheBlockAndTheEncodingStep) {
    for (std::size_t length = 0; length <= 50; ++length) {
        const std::string plain(length, 'x');
        EXPECT_EQ(Decrypted(Encrypted(plain)), plain) << length;
    }
}

// The vector was made by an independent implementation of HKDF-SHA256 and AES-256-GCM. Texts in manifests
// outlive the library's versions, so this text must open for ever.
TEST_F(VornCipherTest, OpensATextOfTheDocumentedForm) {
    UseKeyFile(WriteFile("vector.key", "vornkey1:AAECAwQFBgcICQoLDA0ODxAREhMUFRYXGBkaGxwdHh8\n"));
    EXPECT_EQ(Decrypted("vorn1:ZGVmZ2hpamtsbW5v4NnrnTcTs8HUL2ywvF_LNwNCxgMvoXs3yhP96yejsuQJBZmnOSySd99dHsw"),
              "correct horse battery staple");
}

TEST_F(VornCipherTest, WritesPrintableTextThatNamesItsVersion) {
    const std::string text = Encrypted("secret");
    EXPECT_EQ(text.substr(0, 6), "vorn1:");
    EXPECT_EQ(text.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_", 6),
              std::string::npos);
    EXPECT_EQ(text.size(), 6U + 46U); // 12 + 6 + 16 bytes
}

TEST_F(VornCipherTest, NeverWritesTheSameTextTwice) {
    std::set<std::string> nonces;
    for (int round = 0; round < 1000; ++round) {
        nonces.insert(Encrypted("same").substr(6, 16)); // the nonce is the first 16 characters
    }
    EXPECT_EQ(nonces.size(), 1000U);
}

TEST_F(VornCipherTest, RefusesATextWithAnyOneCharacterChanged) {
    const std::string text = Encrypted("p4ss"); // 32 bytes: the last character has bits that encode nothing
    for (std::size_t at = 0; at < text.size(); ++at) {
        for (int byte = 0; byte < 256; ++byte) {
            std::string changed = text;
            changed[at] = static_cast<char>(byte);
            if (changed != text) {
                ExpectRefused(changed);
            }
        }
    }
    EXPECT_EQ(Decrypted(text), "p4ss");
}

TEST_F(VornCipherTest, RefusesATextCutShortOrGrownAnywhere) {
    const std::string text = Encrypted("p4ss");
    for (std::size_t at = 0; at < text.size(); ++at) {
        ExpectRefused(text.substr(0, at));
        ExpectRefused(text.substr(0, at) + text.substr(at + 1));
        ExpectRefused(text.substr(0, at) + " " + text.substr(at));
    }
    for (const char* tail : {"=", "==", "\n", " ", "A", "AAAA", "\r\n"}) {
        ExpectRefused(text + tail);
    }
    ExpectRefused(text + std::string(1, '\0'));
}

TEST_F(VornCipherTest, RefusesWhatIsNoText) {
    for (const char* text : {"", "vorn1:", "vorn1", "vorn1:====", "plain words", "vorn1:A", "vorn1:AAAA"}) {
        ExpectRefused(text);
    }
    ExpectRefused("vorn1:" + std::string(36, 'A')); // 27 bytes: one fewer than nonce and tag
    ExpectRefused("vorn1:" + std::string(38, 'A')); // 28 bytes: just the two
    ExpectRefused("vorn1:" + std::string(40, 'A'));
}

TEST_F(VornCipherTest, RefusesAnUnknownVersion) {
    const std::string body = Encrypted("p4ss").substr(6);
    for (const char* version : {"vorn2:", "vorn0:", "VORN1:", "vorn1;", "vorn:", "vorn11:", ""}) {
        ExpectRefused(version + body);
    }
}

TEST_F(VornCipherTest, RefusesATextMadeForAnotherKeyOrValue) {
    const std::string text = Encrypted("p4ss");
    ExpectRefused(text, static_cast<VornCipherKey>(0));
    ExpectRefused(text, static_cast<VornCipherKey>(2));
    ExpectRefused(text, static_cast<VornCipherKey>(-1));
    ExpectRefused(text, static_cast<VornCipherKey>(19), 1); // the two are not to be swapped
    for (const unsigned int value : {0U, 18U, 20U, 19U + 256U, ~0U}) {
        ExpectRefused(text, VORN_CIPHER_KEY_TLS, value);
    }
    EXPECT_EQ(Decrypted(text), "p4ss");
}

TEST_F(VornCipherTest, RefusesATextMadeUnderAnotherMasterKey) {
    const std::string text = Encrypted("p4ss");
    const std::string other = (m_directory / "other.key").string();
    ASSERT_EQ(VornMasterKey::Make(other), VORN_OK);
    UseKeyFile(other);
    ExpectRefused(text);
    UseKeyFile(m_keyFile);
    EXPECT_EQ(Decrypted(text), "p4ss");
}

TEST_F(VornCipherTest, TakesTheLongestTextAndRefusesOneByteMore) {
    const std::string longest(MAX_PLAIN_TEXT, 'x');
    EXPECT_EQ(Decrypted(Encrypted(longest)), longest);

    std::string text = UNTOUCHED;
    EXPECT_EQ(VornCipherEncrypt::Encrypt(longest + 'x', text, VORN_CIPHER_KEY_TLS, TLS_VALUE),
              VORN_TEXT_TOO_LONG);
    EXPECT_EQ(text, UNTOUCHED);
}

TEST_F(VornCipherTest, RefusesAHugeText) {
    ExpectRefused("vorn1:" + std::string(std::size_t{16} << 20, 'A'));
}

TEST_F(VornCipherTest, SaysWhyTheMasterKeyIsNotUsedAndTouchesNothing) {
    const std::string text = Encrypted("p4ss");
    unsetenv("VORN_KEY_FILE");
    std::string plain = UNTOUCHED;
    EXPECT_EQ(VornCipher::Decrypt(text, plain, VORN_CIPHER_KEY_TLS, TLS_VALUE), VORN_KEY_FILE_UNSET);
    UseKeyFile(m_keyFile + ".missing");
    EXPECT_EQ(VornCipher::Decrypt(text, plain, VORN_CIPHER_KEY_TLS, TLS_VALUE), VORN_KEY_FILE_UNREADABLE);
    std::string cipher = UNTOUCHED;
    EXPECT_EQ(VornCipherEncrypt::Encrypt("p4ss", cipher, VORN_CIPHER_KEY_TLS, TLS_VALUE),
              VORN_KEY_FILE_UNREADABLE);
    EXPECT_EQ(plain, UNTOUCHED);
    EXPECT_EQ(cipher, UNTOUCHED);
}

TEST_F(VornCipherTest, ReadsTheMasterKeyFileAgainForEachText) {
    const std::string text = Encrypted("p4ss");
    chmod(m_keyFile.c_str(), 0644);
    std::string plain = UNTOUCHED;
    EXPECT_EQ(VornCipher::Decrypt(text, plain, VORN_CIPHER_KEY_TLS, TLS_VALUE), VORN_KEY_FILE_OPEN_TO_OTHERS);
    EXPECT_EQ(plain, UNTOUCHED);
    chmod(m_keyFile.c_str(), 0600);
    EXPECT_EQ(Decrypted(text), "p4ss");
}

TEST_F(VornCipherTest, LeavesTheErrorQueueOfTheTlsCodeAlone) {
    ERR_clear_error();
    ERR_raise(ERR_LIB_USER, 42);
    const unsigned long earlier = ERR_peek_error();
    ExpectRefused("vorn1:" + std::string(60, 'A'));
    ExpectRefused("");
    EXPECT_EQ(ERR_get_error(), earlier);
    EXPECT_EQ(ERR_get_error(), 0UL);
}

TEST_F(VornCipherTest, ServesManyThreadsAtOnce) {
    const std::string text = Encrypted("p4ss");
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    threads.reserve(8);
    for (int number = 0; number < 8; ++number) {
        threads.emplace_back([&, number] {
            const std::string own = "own " + std::to_string(number);
            for (int round = 0; round < 50; ++round) {
                std::string cipher;
                std::string plain;
                const bool sealed =
                    VornCipherEncrypt::Encrypt(own, cipher, VORN_CIPHER_KEY_TLS, TLS_VALUE) == VORN_OK;
                const bool opened =
                    VornCipher::Decrypt(cipher, plain, VORN_CIPHER_KEY_TLS, TLS_VALUE) == VORN_OK &&
                    plain == own;
                const bool shared =
                    VornCipher::Decrypt(text, plain, VORN_CIPHER_KEY_TLS, TLS_VALUE) == VORN_OK &&
                    plain == "p4ss";
                wrong += sealed && opened && shared ? 0 : 1;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(wrong, 0);
}

} // namespace
