// SPDX-License-Identifier: Apache-2.0
// Watches every block that operator delete gets back: none may still hold the key or the plain text.
#include <cstring>

#include <vorncipher/VornCipher.h>
#include <vorncipher/VornCipherEncrypt.h>

#include "MasterKeyFixture.h"
#include "interpose/WatchedBlocks.h"

using httpclient::testing::FreedBlocks;

namespace {

const char PLAIN[] = "canary of the plain text, long enough to live on the heap";
const char KEY_TEXT[] = "Y2FuYXJ5LW9mLXRoZS1tYXN0ZXIta2V5LTMyLWJ5dGU";
const char KEY_BYTES[] = "canary-of-the-master-key-32-byte";

class VornCleansingTest : public MasterKeyFixture {
protected:
    void SetUp() override {
        MasterKeyFixture::SetUp();
        const char* preload = std::getenv("LD_PRELOAD");
        if (preload != nullptr && std::strstr(preload, "vgpreload") != nullptr) {
            GTEST_SKIP() << "valgrind puts its own operator delete in place of this program's";
        }
        UseKeyFile(WriteFile("canary.key", std::string("vornkey1:") + KEY_TEXT + "\n"));
    }

    template <class Call> static int LeaksDuring(Call call) {
        const FreedBlocks freed{PLAIN, KEY_TEXT, KEY_BYTES};
        call();
        EXPECT_GT(freed.Count(), 0);
        return freed.Holding();
    }
};

TEST_F(VornCleansingTest, SeesALeakWhenThereIsOne) {
    EXPECT_EQ(LeaksDuring([] { const std::string leaking(PLAIN); }), 1);
    EXPECT_EQ(LeaksDuring([] { const std::string leaking(KEY_BYTES); }), 1);
}

TEST_F(VornCleansingTest, EncryptingAndDecryptingGiveBackCleanMemoryOnly) {
    const std::string plain = PLAIN;
    std::string text;
    std::string again;
    again.reserve(2 * plain.size()); // the caller's own string is the caller's to cleanse
    int sealed = -1;
    int opened = -1;
    EXPECT_EQ(LeaksDuring([&] {
                  sealed = VornCipherEncrypt::Encrypt(plain, text, VORN_CIPHER_KEY_TLS, 19);
                  opened = VornCipher::Decrypt(text, again, VORN_CIPHER_KEY_TLS, 19);
              }),
              0);
    EXPECT_EQ(sealed, VORN_OK);
    EXPECT_EQ(opened, VORN_OK);
    EXPECT_EQ(again, plain);
}

TEST_F(VornCleansingTest, ARefusedTextGivesBackCleanMemoryOnly) {
    std::string text;
    ASSERT_EQ(VornCipherEncrypt::Encrypt(PLAIN, text, VORN_CIPHER_KEY_TLS, 19), VORN_OK);
    text[text.size() - 10] = text[text.size() - 10] == 'A' ? 'B' : 'A'; // in the tag: decrypted, then refused
    std::string plain;
    int opened = -1;
    EXPECT_EQ(LeaksDuring([&] { opened = VornCipher::Decrypt(text, plain, VORN_CIPHER_KEY_TLS, 19); }), 0);
    EXPECT_EQ(opened, VORN_TEXT_REFUSED);
    EXPECT_TRUE(plain.empty());
}

TEST_F(VornCleansingTest, CheckingTheMasterKeyGivesBackCleanMemoryOnly) {
    const std::string path = (m_directory / "canary.key").string();
    int checked = -1;
    EXPECT_EQ(LeaksDuring([&] { checked = VornMasterKey::Check(path); }), 0);
    EXPECT_EQ(checked, VORN_OK);
}

} // namespace
