// SPDX-License-Identifier: Apache-2.0
// The service URL configuration, sound and otherwise: what is taken from it, and what is said about it.
#include <filesystem>
#include <map>
#include <string>

#include "IdentityTest.h"
#include "identity/HttpSiaToken.h"
#include "setting/Mutator.h"
#include "setting/OpenedFiles.h"
#include "setting/WithoutPrivileges.h"

using namespace httpclient::testing;
using namespace std::string_literals;

namespace {

using Services = std::map<std::string, std::string>;

const Services NONE;

class ServiceUrlConf : public IdentityTest {
protected:
    /// Loads a text. @return what was logged.
    Lines Load(const std::string& text) {
        WriteServices(text);
        return LoadNow();
    }
    Lines LoadNow() {
        StartLog();
        m_result = m_sia.LoadServiceUrlConf();
        return Logged(0);
    }
    /// Expects that a text is loaded.
    void ExpectLoaded(const std::string& text, const Services& services) {
        m_sia.m_mapServiceUrl.clear();
        EXPECT_EQ(Load(text), Lines{message::ServicesLoaded(services.size())}) << text;
        EXPECT_EQ(m_result, 0) << text;
        EXPECT_EQ(m_sia.m_mapServiceUrl, services) << text;
    }
    /// Expects that a text fails with this message, and leaves these entries.
    void ExpectFailure(const std::string& text, const char* message, const Services& services = NONE) {
        WriteServices(text);
        ExpectFailureNow(message, services);
        if (HasFailure()) {
            ADD_FAILURE() << text.substr(0, 200);
        }
    }
    void ExpectFailureNow(const char* message, const Services& services = NONE) {
        m_sia.m_mapServiceUrl.clear();
        EXPECT_EQ(LoadNow(), Lines{message});
        EXPECT_EQ(m_result, -1);
        EXPECT_EQ(m_sia.m_mapServiceUrl, services);
    }

    CHttpSiaToken m_sia;
    int m_result = 7;
};

std::string Entry(const std::string& value) {
    return R"({"/a": )" + value + "}";
}

} // namespace

TEST_F(ServiceUrlConf, GivesTheServiceOfEachUrl) {
    ExpectLoaded(R"({"/rest/b/*": {"type": "sia", "service": "beta"},
                     "/rest/a": {"service": "alpha", "type": "sia"}})",
                 {{"/rest/a", "alpha"}, {"/rest/b/*", "beta"}});
}

TEST_F(ServiceUrlConf, TakesEntriesOfTheOneTypeAlone) {
    for (const char* type : {"\"SIA\"", "\"Sia\"", "\"sia \"", "\" sia\"", "\"siaX\"", "\"si\"", "\"\"",
                             "null", "1", "-1", "1.5", "true", "false", "\"sia\\u0000\""}) {
        ExpectLoaded(R"({"/a": {"type": )" + std::string(type) + R"(, "service": "s"},
                         "/b": {"type": "sia", "service": "t"}})",
                     {{"/b", "t"}});
    }
    ExpectLoaded(Entry(R"({"service": "s"})"), NONE);
    ExpectLoaded(Entry(R"({"Type": "sia", "service": "s"})"), NONE);
    ExpectLoaded(Entry(R"({"type": "s\u0069a", "service": "s"})"), {{"/a", "s"}});
}

TEST_F(ServiceUrlConf, SkipsAnEmptyName) {
    ExpectLoaded(R"({"": {"type": "sia", "service": "s"}})", NONE);
    ExpectLoaded(R"({"": 7, "/b": {"type": "sia", "service": "t"}})", {{"/b", "t"}}); // not looked at
}

TEST_F(ServiceUrlConf, TakesAMissingServiceForAnEmptyOne) {
    ExpectLoaded(Entry(R"({"type": "sia"})"), {{"/a", ""}});
    ExpectLoaded(Entry(R"({"type": "sia", "service": null})"), {{"/a", ""}});
    ExpectLoaded(Entry(R"({"type": "sia", "Service": "s"})"), {{"/a", ""}});
}

TEST_F(ServiceUrlConf, TakesANumberOrTruthValueAsServiceForItsText) {
    ExpectLoaded(Entry(R"({"type": "sia", "service": 7})"), {{"/a", "7"}});
    ExpectLoaded(Entry(R"({"type": "sia", "service": true})"), {{"/a", "true"}});
}

TEST_F(ServiceUrlConf, IgnoresOtherMembers) {
    ExpectLoaded(Entry(R"({"type": "sia", "service": "s", "types": [1, {}], "comment": {"type": 1}})"),
                 {{"/a", "s"}});
}

TEST_F(ServiceUrlConf, TakesTheLastOfDuplicateNames) {
    ExpectLoaded(R"({"/a": {"type": "sia", "service": "first"}, "/a": {"type": "sia", "service": "last"}})",
                 {{"/a", "last"}});
    ExpectLoaded(R"({"/a": {"type": "sia", "service": "first"}, "/a": {"type": "other"}})", NONE);
    ExpectLoaded(Entry(R"({"type": "other", "type": "sia", "service": "s", "service": "t"})"), {{"/a", "t"}});
}

TEST_F(ServiceUrlConf, AllowsComments) {
    ExpectLoaded("// who\n{/* what */\"/a\": {\"type\": \"sia\", // why\n\"service\": \"s\"}}\n",
                 {{"/a", "s"}});
}

TEST_F(ServiceUrlConf, IsFineWithoutAnEntry) {
    for (const char* text :
         {"{}", "null", " \n{ }\n", R"({"/a": {"type": "other"}})", R"({"/a": {}})", R"({"/a": null})"}) {
        ExpectLoaded(text, NONE);
    }
}

TEST_F(ServiceUrlConf, OfAnotherShapeRaisesInside) {
    for (const char* text :
         {"[]", R"([{"/a": {"type": "sia", "service": "s"}}])", "\"text\"", "7", "-1.5", "true", "false"}) {
        ExpectFailure(text, message::SERVICES_EXCEPTION);
        if (text != "[]"s) {
            ExpectFailure(Entry(text), message::SERVICES_EXCEPTION);
        }
    }
    ExpectFailure(Entry("[]"), message::SERVICES_EXCEPTION);
    ExpectFailure(Entry(R"({"type": []})"), message::SERVICES_EXCEPTION);
    ExpectFailure(Entry(R"({"type": {"sia": 1}})"), message::SERVICES_EXCEPTION);
    ExpectFailure(Entry(R"({"type": "sia", "service": ["s"]})"), message::SERVICES_EXCEPTION);
    ExpectFailure(Entry(R"({"type": "sia", "service": {}})"), message::SERVICES_EXCEPTION);
}

TEST_F(ServiceUrlConf, KeepsTheEntriesThatItTookBeforeTheFault) {
    // In byte order of the names, whatever their order in the file.
    ExpectFailure(R"({"/c": {"type": "sia", "service": "c"}, "/b": 7,
                      "/a": {"type": "sia", "service": "a"}, "/B": {"type": "sia", "service": "B"}})",
                  message::SERVICES_EXCEPTION, {{"/B", "B"}, {"/a", "a"}});
    ExpectFailure(R"({"/\u00e4": {"type": "sia", "service": "umlaut"}, "/b": {"type": "sia", "service": []},
                      "/a": {"type": "sia", "service": "a"}})",
                  message::SERVICES_EXCEPTION, {{"/a", "a"}});
}

TEST_F(ServiceUrlConf, LoadedAgainReplacesEqualNamesAndCountsAll) {
    Load(R"({"/a": {"type": "sia", "service": "a"}, "/b": {"type": "sia", "service": "b"}})");
    EXPECT_EQ(Load(R"({"/a": {"type": "sia", "service": "new"}})"), Lines{message::ServicesLoaded(2)});
    EXPECT_EQ(m_sia.m_mapServiceUrl, (Services{{"/a", "new"}, {"/b", "b"}}));
}

TEST_F(ServiceUrlConf, ThatIsNoJsonIsNotTaken) {
    for (const char* text :
         {"", " ", "\n", "{", "}", "/a", R"({"/a": })", R"({"/a": {"type": "sia", "service": "s"})",
          R"({"/a": {"type": "sia" "service": "s"}})", "{\"/a\"}", "nul", "<html><body>404</body></html>",
          "\xff\xfe{\0}", R"({"/a": {"type": "sia", "service": "s}})", "\x1f\x8b\x08"}) {
        ExpectFailure(text, message::SERVICES_NOT_PARSED);
    }
    ExpectFailure("\0"s, message::SERVICES_NOT_PARSED);
    ExpectFailure(std::string(100000, '\0'), message::SERVICES_NOT_PARSED);
}

TEST_F(ServiceUrlConf, ThatIsNestedTooDeeplyIsNotTaken) {
    for (const std::size_t depth : {2000U, 100000U}) {
        ExpectFailure(std::string(depth, '[') + std::string(depth, ']'), message::SERVICES_NOT_PARSED);
        std::string objects;
        for (std::size_t i = 0; i < depth; ++i) {
            objects += "{\"/a\":";
        }
        ExpectFailure(objects + "1" + std::string(depth, '}'), message::SERVICES_NOT_PARSED);
    }
}

TEST_F(ServiceUrlConf, HoldsAnyBytes) {
    ExpectLoaded("{\"/\xff\xc3\": {\"type\": \"sia\", \"service\": \"s\xe4\x80\"}}",
                 {{"/\xff\xc3", "s\xe4\x80"}});
    ExpectLoaded(R"({"/\u00e4\"\\": {"type": "sia", "service": "\ud83d\ude00\n"}})",
                 {{"/\xc3\xa4\"\\", "\xf0\x9f\x98\x80\n"}});
    ExpectLoaded(R"({"/a\u0000b": {"type": "sia", "service": "s\u0000t"}})", {{"/a\0b"s, "s\0t"s}});
}

TEST_F(ServiceUrlConf, OfAHundredThousandEntriesIsTakenWhole) {
    constexpr std::size_t COUNT = 100000;
    std::string text = "{";
    for (std::size_t i = 0; i < COUNT; ++i) {
        text += (i == 0 ? "\"/" : ",\"/") + std::to_string(i) + R"(/*":{"type":"sia","service":"s)" +
                std::to_string(i) + "\"}";
    }
    EXPECT_EQ(Load(text + "}"), Lines{message::ServicesLoaded(COUNT)});
    EXPECT_EQ(m_result, 0);
    EXPECT_EQ(m_sia.GetServiceNameByUrl("/99999/x", false), "s99999");
    EXPECT_EQ(m_sia.GetServiceNameByUrl("/100000/x", false), "");
}

TEST_F(ServiceUrlConf, ThatIsMissingIsNotOpened) {
    ExpectFailureNow(message::SERVICES_NOT_OPENED);
    std::filesystem::create_symlink(File("nowhere"), File(SERVICES));
    ExpectFailureNow(message::SERVICES_NOT_OPENED);
    std::filesystem::remove_all(File(""));
    ExpectFailureNow(message::SERVICES_NOT_OPENED);
}

TEST_F(ServiceUrlConf, ThatMayNotBeReadIsNotOpened) {
    WriteServices("{}");
    std::filesystem::permissions(File(SERVICES), std::filesystem::perms::none);
    const WithoutPrivileges ordinary(m_application.path());
    if (!ordinary.held()) {
        GTEST_SKIP() << "root reads every file, and cannot become another user here";
    }
    ExpectFailureNow(message::SERVICES_NOT_OPENED);
}

TEST_F(ServiceUrlConf, ThatIsADirectoryRaisesAtReading) {
    std::filesystem::create_directory(File(SERVICES));
    ExpectFailureNow(message::SERVICES_EXCEPTION); // it opens, but cannot be read
}

TEST_F(ServiceUrlConf, LiesBelowApplicationRootAndFixedDirectory) {
    const std::pair<const char*, const char*> rows[] = {
        {"/opt/app", "/opt/app/etc/authconf/jwt/service_url_config.json"},
        {"/opt/app/", "/opt/app//etc/authconf/jwt/service_url_config.json"},
        {"app", "app/etc/authconf/jwt/service_url_config.json"},
        {"", "/etc/authconf/jwt/service_url_config.json"}};
    for (const auto& [root, path] : rows) {
        const ScopedEnvironment variable("APP_ROOT", root);
        const OpenedFiles opened;
        LoadNow();
        EXPECT_EQ(opened.Paths(), Lines{path});
    }
    const ScopedEnvironment unset("APP_ROOT");
    const OpenedFiles opened;
    LoadNow();
    EXPECT_EQ(opened.Paths(), Lines{"/etc/authconf/jwt/service_url_config.json"});
}

TEST_F(ServiceUrlConf, DamagedNeverDoesMoreThanItsMessagesSay) {
    const std::string sound =
        R"({"/a/*": {"type": "sia", "service": "alpha"}, "/b?": {"type": "other", "x": [1]},
                                  "/c/": {"type": "sia", "service": "gamma"}, "*": {"type": "sia"}})";
    std::size_t loaded = 0;
    for (unsigned int seed = 1; seed <= 1500; ++seed) {
        Mutator mutator(seed);
        m_sia.m_mapServiceUrl.clear();
        const Lines lines = Load(mutator.Mutate(sound));
        if (m_result == 0) {
            ++loaded;
            EXPECT_EQ(lines, Lines{message::ServicesLoaded(m_sia.m_mapServiceUrl.size())}) << seed;
        } else {
            EXPECT_EQ(m_result, -1) << seed;
            EXPECT_TRUE(lines == Lines{message::SERVICES_EXCEPTION} ||
                        (lines == Lines{message::SERVICES_NOT_PARSED} && m_sia.m_mapServiceUrl.empty()))
                << seed;
        }
        m_sia.GetServiceNameByUrl(mutator.Mutate("/a/b?c"), false);
    }
    EXPECT_GT(loaded, 75U); // some of the damage is harmless, or it would prove little
    EXPECT_LT(loaded, 1425U);
}
