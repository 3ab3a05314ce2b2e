// SPDX-License-Identifier: Apache-2.0
// The credential's file, sound and otherwise: what is taken from it, and what is said about it.
#include <filesystem>
#include <string>

#include "IdentityTest.h"
#include "identity/HttpSiaToken.h"
#include "setting/Mutator.h"
#include "setting/OpenedFiles.h"
#include "setting/Secrets.h"
#include "setting/WithoutPrivileges.h"

using namespace httpclient::testing;
using namespace std::string_literals;

namespace {

constexpr const char* NOT_OPENED = "[5] open jwt_billing.json failed.";
constexpr const char* NOT_PARSED = "[5] load jwt_billing.json failed.";
constexpr const char* EXCEPTION = "[5] parse jwt_billing.json catch an exception.";

class JwtCredential : public IdentityTest {
protected:
    Lines LoadNow() {
        StartLog();
        m_result = m_sia.LoadJWTFile();
        return Logged(0);
    }
    void ExpectLoaded(const std::string& text, const std::string& jwt) {
        WriteJwt(text);
        m_sia.m_strJwt.clear();
        EXPECT_EQ(LoadNow(), Lines{message::JwtLoaded(jwt.size())}) << text;
        EXPECT_EQ(m_result, 0) << text;
        EXPECT_EQ(m_sia.GetJwt(), jwt) << text;
    }
    void ExpectFailure(const std::string& text, const char* message) {
        WriteJwt(text);
        ExpectFailureNow(message);
        if (HasFailure()) {
            ADD_FAILURE() << text.substr(0, 200);
        }
    }
    void ExpectFailureNow(const char* message) {
        EXPECT_EQ(LoadNow(), Lines{message});
        EXPECT_EQ(m_result, -1);
        EXPECT_EQ(m_sia.GetJwt(), "");
    }

    CHttpSiaToken m_sia;
    int m_result = 7;
};

std::string WithJwt(const std::string& value) {
    return R"({"jwt": )" + value + "}";
}

} // namespace

TEST_F(JwtCredential, IsTheMemberOfItsFile) {
    ExpectLoaded(WithJwt('"' + Secret("jwt.abc-_.XYZ") + '"'), Secret("jwt.abc-_.XYZ"));
    ExpectLoaded(R"({"JWT": "other", "jwt": "text", "expires": [1], "sub": {"jwt": "inner"}})", "text");
    ExpectLoaded(R"({"jwt": "first", "jwt": "last"})", "last");
    ExpectLoaded("// whose\n{\"jwt\": /* what */ \"text\"}", "text");
}

TEST_F(JwtCredential, IsHandedOutAsACopy) {
    ExpectLoaded(WithJwt("\"text\""), "text");
    std::string copy = m_sia.GetJwt();
    copy += "more";
    EXPECT_EQ(m_sia.GetJwt(), "text");
}

TEST_F(JwtCredential, IsTakenInWhateverForm) {
    ExpectLoaded(WithJwt(R"("\"a\\\u0041\u00e4\n ")"), "\"a\\A\xc3\xa4\n ");
    ExpectLoaded(WithJwt(R"("a\u0000b")"), "a\0b"s);
    ExpectLoaded(WithJwt("\"\xff\xc3\""), "\xff\xc3");
    const std::string megabyte(std::size_t{1} << 20, 'x');
    ExpectLoaded(WithJwt('"' + megabyte + '"'), megabyte);
}

TEST_F(JwtCredential, IsEmptyWhenTheFileHoldsNone) {
    for (const char* text : {"{}", "null", R"({"jwt": null})", R"({"jwt": ""})", R"({"Jwt": "text"})"}) {
        ExpectLoaded(text, "");
    }
}

TEST_F(JwtCredential, IsTheTextOfANumberOrTruthValue) {
    ExpectLoaded(WithJwt("7"), "7");
    ExpectLoaded(WithJwt("true"), "true");
}

TEST_F(JwtCredential, InAnotherShapeRaisesInside) {
    for (const char* value : {"[]", R"(["jwt", "text"])", "\"jwt\"", "7", "-1.5", "true", "false"}) {
        ExpectFailure(value, EXCEPTION);
    }
    for (const char* value : {"[]", R"(["text"])", "{}", R"({"jwt": "text"})"}) {
        ExpectFailure(WithJwt(value), EXCEPTION);
    }
}

TEST_F(JwtCredential, InNoJsonIsNotTaken) {
    for (const char* text : {"", " ", "{", "}", R"({"jwt": })", R"({"jwt": "text)", "a.b.c", "nul",
                             "<html></html>", "\xff\xfe{\0}"}) {
        ExpectFailure(text, NOT_PARSED);
    }
    ExpectFailure("\0"s, NOT_PARSED);
    ExpectFailure(std::string(100000, '[') + std::string(100000, ']'), NOT_PARSED);
}

TEST_F(JwtCredential, InAMissingFileIsNotOpened) {
    ExpectFailureNow(NOT_OPENED);
    std::filesystem::remove_all(File(""));
    ExpectFailureNow(NOT_OPENED);
}

TEST_F(JwtCredential, InAnUnreadableFileIsNotOpened) {
    WriteJwt("{}");
    std::filesystem::permissions(File(JWT), std::filesystem::perms::none);
    const WithoutPrivileges ordinary(m_application.path());
    if (!ordinary.held()) {
        GTEST_SKIP() << "root reads every file, and cannot become another user here";
    }
    ExpectFailureNow(NOT_OPENED);
}

TEST_F(JwtCredential, InADirectoryRaisesAtReading) {
    std::filesystem::create_directory(File(JWT));
    ExpectFailureNow(EXCEPTION);
}

TEST_F(JwtCredential, LiesBelowApplicationRootUnderTheApplicationsName) {
    struct Row {
        const char* root;
        const char* name;
        const char* path;
        const char* message;
    };
    const Row rows[] = {
        {"/opt/app", "billing", "/opt/app/etc/authconf/jwt/jwt_billing.json", NOT_OPENED},
        {"/opt/app/", "a b", "/opt/app//etc/authconf/jwt/jwt_a b.json", "[5] open jwt_a b.json failed."},
        {"", "billing", "/etc/authconf/jwt/jwt_billing.json", NOT_OPENED},
        {"/opt/app", "", "/opt/app/etc/authconf/jwt/jwt_.json", "[5] open jwt_.json failed."},
        {"/opt/app", "%s%n%d", "/opt/app/etc/authconf/jwt/jwt_%s%n%d.json",
         "[5] open jwt_%s%n%d.json failed."},
    };
    for (const Row& row : rows) {
        const ScopedEnvironment root("APP_ROOT", row.root);
        const ScopedEnvironment name("APP_NAME", row.name);
        const OpenedFiles opened;
        EXPECT_EQ(LoadNow(), Lines{row.message});
        EXPECT_EQ(opened.Paths(), Lines{row.path});
    }
}

TEST_F(JwtCredential, LiesAtAnAbsolutePathWithoutRootAndName) {
    const ScopedEnvironment root("APP_ROOT");
    const ScopedEnvironment name("APP_NAME");
    const OpenedFiles opened;
    EXPECT_EQ(LoadNow(), Lines{"[5] open jwt_.json failed."});
    EXPECT_EQ(opened.Paths(), Lines{"/etc/authconf/jwt/jwt_.json"});
}

TEST_F(JwtCredential, IsReportedByItsFileNameAlone) {
    const std::filesystem::path file = File("jwt_ledger.json");
    const ScopedEnvironment name("APP_NAME", "ledger");
    EXPECT_EQ(LoadNow(), Lines{"[5] open jwt_ledger.json failed."});
    m_application.Write(file, "{");
    EXPECT_EQ(LoadNow(), Lines{"[5] load jwt_ledger.json failed."});
    m_application.Write(file, "[]");
    EXPECT_EQ(LoadNow(), Lines{"[5] parse jwt_ledger.json catch an exception."});
    m_application.Write(file, WithJwt('"' + Secret("jwt") + '"'));
    EXPECT_EQ(LoadNow(), Lines{message::JwtLoaded(Secret("jwt").size(), "jwt_ledger.json")});
}

TEST_F(JwtCredential, StaysWhenALaterLoadFails) {
    ExpectLoaded(WithJwt("\"text\""), "text");
    for (const char* text : {"{", "[]", R"({"jwt": []})"}) {
        WriteJwt(text);
        LoadNow();
        EXPECT_EQ(m_result, -1);
        EXPECT_EQ(m_sia.GetJwt(), "text");
    }
}

TEST_F(JwtCredential, DamagedNeverDoesMoreThanItsMessagesSay) {
    const std::string sound =
        R"({"jwt": ")" + Secret("jwt.payload.signature") + R"(", "x": [1, null], "y": {}})";
    std::size_t loaded = 0;
    for (unsigned int seed = 1; seed <= 1000; ++seed) {
        Mutator mutator(seed);
        WriteJwt(mutator.Mutate(sound));
        m_sia.m_strJwt.clear();
        const Lines lines = LoadNow();
        if (m_result == 0) {
            ++loaded;
            EXPECT_EQ(lines, Lines{message::JwtLoaded(m_sia.GetJwt().size())}) << seed;
        } else {
            EXPECT_EQ(m_result, -1) << seed;
            EXPECT_TRUE(lines == Lines{NOT_PARSED} || lines == Lines{EXCEPTION}) << seed;
            EXPECT_EQ(m_sia.GetJwt(), "") << seed;
        }
    }
    EXPECT_GT(loaded, 50U); // some of the damage is harmless, or it would prove little
    EXPECT_LT(loaded, 950U);
}
