// SPDX-License-Identifier: Apache-2.0
#include <set>

#include <sys/stat.h>
#include <unistd.h>

#include <httpclient/testing/Files.h>

#include "MasterKeyFixture.h"

using httpclient::testing::ReadFile;

namespace {

const std::string KEY_LINE = "vornkey1:AAECAwQFBgcICQoLDA0ODxAREhMUFRYXGBkaGxwdHh8";

mode_t ModeOf(const std::string& path) {
    struct stat status {};
    EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777U;
}

/// Holds the process's umask for a scope.
class Umask {
public:
    explicit Umask(mode_t mask) : m_before(umask(mask)) {}
    ~Umask() { umask(m_before); }
    Umask(const Umask&) = delete;
    Umask& operator=(const Umask&) = delete;

private:
    mode_t m_before;
};

using VornMasterKeyTest = MasterKeyFixture;

TEST_F(VornMasterKeyTest, IsUsedOnlyWhenTheModeKeepsOthersOut) {
    for (const mode_t safe : {0600U, 0400U, 0700U}) {
        chmod(m_keyFile.c_str(), safe);
        EXPECT_EQ(VornMasterKey::Check(m_keyFile), VORN_OK) << std::oct << safe;
    }
    for (const mode_t open : {0644U, 0640U, 0604U, 0610U, 0601U, 0620U, 0602U, 0666U, 0777U}) {
        chmod(m_keyFile.c_str(), open);
        EXPECT_EQ(VornMasterKey::Check(m_keyFile), VORN_KEY_FILE_OPEN_TO_OTHERS) << std::oct << open;
    }
}

TEST_F(VornMasterKeyTest, IsRefusedWhenItBelongsToSomebodyElse) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can give a file away";
    }
    ASSERT_EQ(chown(m_keyFile.c_str(), 12345, 0), 0);
    EXPECT_EQ(VornMasterKey::Check(m_keyFile), VORN_KEY_FILE_FOREIGN);
}

TEST_F(VornMasterKeyTest, IsRefusedWhenMissingOrNotNamed) {
    EXPECT_EQ(VornMasterKey::Check(m_keyFile + ".missing"), VORN_KEY_FILE_UNREADABLE);
    EXPECT_EQ(VornMasterKey::Check(""), VORN_KEY_FILE_UNSET);
}

TEST_F(VornMasterKeyTest, IsRefusedWhenNotARegularFile) {
    const std::string directory = (m_directory / "directory").string();
    ASSERT_EQ(mkdir(directory.c_str(), 0700), 0);
    EXPECT_EQ(VornMasterKey::Check(directory), VORN_KEY_FILE_NOT_REGULAR);

    const std::string pipe = (m_directory / "pipe").string();
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_EQ(VornMasterKey::Check(pipe), VORN_KEY_FILE_NOT_REGULAR); // and at once, with nobody writing
    EXPECT_EQ(VornMasterKey::Check("/dev/null"), VORN_KEY_FILE_NOT_REGULAR);
}

TEST_F(VornMasterKeyTest, IsJudgedByTheFileThatALinkLeadsTo) {
    const std::string link = (m_directory / "link").string();
    ASSERT_EQ(symlink(m_keyFile.c_str(), link.c_str()), 0);
    EXPECT_EQ(VornMasterKey::Check(link), VORN_OK);
    chmod(m_keyFile.c_str(), 0644);
    EXPECT_EQ(VornMasterKey::Check(link), VORN_KEY_FILE_OPEN_TO_OTHERS);
}

TEST_F(VornMasterKeyTest, MayEndInOneLineEndOrNone) {
    EXPECT_EQ(VornMasterKey::Check(WriteFile("none", KEY_LINE)), VORN_OK);
    EXPECT_EQ(VornMasterKey::Check(WriteFile("one", KEY_LINE + "\n")), VORN_OK);
    EXPECT_EQ(VornMasterKey::Check(WriteFile("two", KEY_LINE + "\n\n")), VORN_KEY_FILE_MALFORMED);
}

TEST_F(VornMasterKeyTest, IsRefusedWithAnyOtherContent) {
    const std::string contents[] = {"",
                                    "\n",
                                    "vornkey1:",
                                    KEY_LINE.substr(0, KEY_LINE.size() - 1),
                                    KEY_LINE + "A",
                                    KEY_LINE + "=",
                                    " " + KEY_LINE,
                                    KEY_LINE + " ",
                                    KEY_LINE + "\r\n",
                                    "vornkey2:" + KEY_LINE.substr(9),
                                    KEY_LINE.substr(9),
                                    KEY_LINE.substr(0, KEY_LINE.size() - 1) + "9", // bits that encode nothing
                                    std::string(32, '\x07'),
                                    KEY_LINE + std::string(100, 'A'),
                                    KEY_LINE + std::string(100000, '\n')};
    for (const std::string& content : contents) {
        EXPECT_EQ(VornMasterKey::Check(WriteFile("key", content)), VORN_KEY_FILE_MALFORMED)
            << content.substr(0, 80);
    }
}

TEST_F(VornMasterKeyTest, IsMadeForItsOwnerAlone) {
    EXPECT_EQ(ModeOf(m_keyFile), 0600U);
    for (const mode_t mask : {0000U, 0077U, 0777U}) {
        const Umask umaskHeld(mask);
        const std::string path = (m_directory / ("key" + std::to_string(mask))).string();
        EXPECT_EQ(VornMasterKey::Make(path), VORN_OK);
        EXPECT_EQ(ModeOf(path), 0600U);
        EXPECT_EQ(VornMasterKey::Check(path), VORN_OK);
    }
}

TEST_F(VornMasterKeyTest, IsNewEachTime) {
    std::set<std::string> keys{ReadFile(m_keyFile)};
    for (int number = 0; number < 20; ++number) {
        const std::string path = (m_directory / std::to_string(number)).string();
        ASSERT_EQ(VornMasterKey::Make(path), VORN_OK);
        keys.insert(ReadFile(path));
    }
    EXPECT_EQ(keys.size(), 21U);
}

TEST_F(VornMasterKeyTest, NeverOverwritesAnything) {
    const std::string before = ReadFile(m_keyFile);
    EXPECT_EQ(VornMasterKey::Make(m_keyFile), VORN_KEY_FILE_EXISTS);
    EXPECT_EQ(ReadFile(m_keyFile), before);

    const std::string dangling = (m_directory / "dangling").string();
    ASSERT_EQ(symlink((m_directory / "target").c_str(), dangling.c_str()), 0);
    EXPECT_EQ(VornMasterKey::Make(dangling), VORN_KEY_FILE_EXISTS);
    EXPECT_FALSE(std::filesystem::exists(m_directory / "target"));
    EXPECT_EQ(VornMasterKey::Make(m_directory.string()), VORN_KEY_FILE_EXISTS);
}

TEST_F(VornMasterKeyTest, IsNotMadeWhereOthersCouldReplaceIt) {
    const std::filesystem::path open = m_directory / "open";
    ASSERT_EQ(mkdir(open.c_str(), 0700), 0);
    for (const mode_t mode : {0777U, 0770U, 0702U}) {
        chmod(open.c_str(), mode);
        EXPECT_EQ(VornMasterKey::Make((open / "key").string()), VORN_KEY_DIRECTORY_UNSAFE)
            << std::oct << mode;
        EXPECT_FALSE(std::filesystem::exists(open / "key"));
    }
    chmod(open.c_str(), 01777); // like the system's directory for temporary files
    EXPECT_EQ(VornMasterKey::Make((open / "key").string()), VORN_OK);
}

TEST_F(VornMasterKeyTest, IsNotMadeWhereThereIsNoDirectory) {
    EXPECT_EQ(VornMasterKey::Make((m_directory / "missing" / "key").string()), VORN_KEY_FILE_UNWRITABLE);
    EXPECT_EQ(VornMasterKey::Make(m_keyFile + "/key"), VORN_KEY_FILE_UNWRITABLE);
    EXPECT_EQ(VornMasterKey::Make(""), VORN_KEY_FILE_UNSET);
}

TEST_F(VornMasterKeyTest, EveryStatusHasASentenceOfItsOwn) {
    std::set<std::string> sentences;
    for (int status = VORN_OK; status <= VORN_CRYPTO_FAILED + 1; ++status) {
        sentences.insert(VornStatusText(status));
    }
    EXPECT_EQ(sentences.size(), static_cast<std::size_t>(VORN_CRYPTO_FAILED) + 2);
    EXPECT_STREQ(VornStatusText(-1), VornStatusText(VORN_CRYPTO_FAILED + 1));
}

} // namespace
