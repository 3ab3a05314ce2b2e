// SPDX-License-Identifier: Apache-2.0
#include "CheckFixture.h"

namespace {

class CheckServiceUrlsTest : public CheckFixture {
protected:
    /// Checks a configuration of these patterns, all well but for themselves.
    CheckReport CheckPatterns(const std::vector<std::string>& patterns) const {
        Json::Value urls(Json::objectValue);
        for (const std::string& pattern : patterns) {
            urls[pattern]["type"] = "sia";
            urls[pattern]["service"] = "AService";
        }
        WriteUrls(urls.toStyledString());
        return Check();
    }

    static bool Says(const CheckReport& report, const std::string& words) {
        return report.Said("service-urls").find(words) != std::string::npos;
    }
};

TEST_F(CheckServiceUrlsTest, CountsTheEntries) {
    EXPECT_TRUE(Says(Check(), ": 1 entry of type \"sia\""));
    EXPECT_TRUE(Says(CheckPatterns({"/a", "/b", "/c"}), ": 3 entries of type \"sia\""));
}

TEST_F(CheckServiceUrlsTest, AllowsComments) {
    WriteUrls("// ours\n{\"/a\": {\"type\": \"sia\", \"service\": \"A\"} /* only this */}");
    EXPECT_EQ(Check().Problems(), Problems{});
}

TEST_F(CheckServiceUrlsTest, SaysWhatAProcessMakesOfABrokenFile) {
    const std::pair<const char*, const char*> cases[] = {
        {"garbage", "load service_url_config.json failed."},
        {"", "load service_url_config.json failed."},
        {"[]", "parse service_url_config.json catch an exception."},
        {"7", "parse service_url_config.json catch an exception."}};
    for (const auto& [content, says] : cases) {
        WriteUrls(content);
        const CheckReport report = Check();
        EXPECT_EQ(report.Problems(), Problems{"error service-urls"}) << content;
        EXPECT_TRUE(Says(report, says)) << report.Said("service-urls");
    }
}

TEST_F(CheckServiceUrlsTest, WarnsWhenNothingIsLoaded) {
    for (const char* content : {"{}", "null"}) {
        WriteUrls(content);
        EXPECT_EQ(Check().Problems(), Problems{"warning service-urls"}) << content;
        EXPECT_TRUE(Says(Check(), "no sia entries are loaded"));
    }
}

TEST_F(CheckServiceUrlsTest, SaysWhichEntriesAreIgnoredAndWhy) {
    WriteUrls(R"({"": {"type": "sia", "service": "A"}, "/b": {"type": "SIA", "service": "B"},
                  "/c": {"service": "C"}, "/d": null, "/e": {"type": "sia", "service": "E"}})");
    const CheckReport report = Check();
    EXPECT_EQ(report.Problems(), Problems(4, "warning service-urls"));
    EXPECT_TRUE(Says(report, "the entry \"\" is ignored: its pattern is empty"));
    EXPECT_TRUE(Says(report, "the entry \"/b\" is ignored: its type is \"SIA\", not \"sia\""));
    EXPECT_TRUE(Says(report, "the entry \"/c\" is ignored: its type is \"\", not \"sia\""));
    EXPECT_TRUE(Says(report, "the entry \"/d\" is ignored: its type is \"\", not \"sia\""));
    EXPECT_TRUE(Says(report, ": 1 entry of type \"sia\""));
}

TEST_F(CheckServiceUrlsTest, SaysAtWhichEntryLoadingBreaksOff) {
    for (const char* entry : {"\"sia\"", "7", "[]", R"({"type": {}})", R"({"type": "sia", "service": []})"}) {
        WriteUrls(R"({"/c": {"type": "sia", "service": "C"}, "/b": )" + std::string(entry) +
                  R"(, "/d": {}, "/a": {"type": "sia", "service": "A"}})");
        const CheckReport report = Check();
        EXPECT_EQ(report.Problems(), Problems{"error service-urls"}) << entry;
        EXPECT_TRUE(Says(report, "the entry \"/b\" is of the wrong shape")) << entry;
        EXPECT_TRUE(Says(report, "loses this entry and 2 entries after it")) << report.Said("service-urls");
        EXPECT_TRUE(Says(report, ": 1 entry of type \"sia\"")); // "/a", which comes before in byte order
    }
}

TEST_F(CheckServiceUrlsTest, WarnsOfAnEntryWithoutService) {
    WriteUrls(R"({"/a": {"type": "sia"}})");
    EXPECT_EQ(Check().Problems(), Problems{"warning service-urls"});
    EXPECT_TRUE(Says(Check(), "names no service"));
}

TEST_F(CheckServiceUrlsTest, WarnsOfPatternsThatSurprise) {
    const std::pair<const char*, const char*> cases[] = {
        {"*", "it matches every path"},
        {"rest/a", "does not begin with \"/\""},
        {"/a?x=1", "it matches nothing"},
        {"/a?x=*", "it matches nothing"},
        {"/a/*/detail", "it matches whatever begins with \"/a/\""},
        {"/a/*/b/*", "only what stands before the first \"*\" is compared: \"/a/\""}};
    for (const auto& [pattern, says] : cases) {
        const CheckReport report = CheckPatterns({pattern});
        EXPECT_EQ(report.Problems(), Problems{"warning service-urls"}) << pattern;
        EXPECT_TRUE(Says(report, says)) << report.Said("service-urls");
    }
    EXPECT_EQ(CheckPatterns({"/", "/a", "/a/", "/a/b*", "/*"}).Levels("service-urls").front(), "ok");
}

TEST_F(CheckServiceUrlsTest, WarnsOfAPatternThatIsNeverReached) {
    const CheckReport report = CheckPatterns({"/rest/a/*", "/rest/a/v1/*", "/rest/b/*"});
    EXPECT_EQ(report.Problems(), Problems{"warning service-urls"});
    EXPECT_TRUE(Says(report, "the pattern \"/rest/a/v1/*\" is never reached"));
    EXPECT_TRUE(Says(report, "\"/rest/a/*\" comes before it"));
    EXPECT_EQ(CheckPatterns({"/rest/a/*", "/rest/a/v1/items"}).Problems(), Problems{"warning service-urls"});
}

TEST_F(CheckServiceUrlsTest, DoesNotWarnOfAPatternThatIsReached) {
    EXPECT_EQ(CheckPatterns({"/a/*", "/a/"}).Problems(), Problems{}); // "/a/" comes first
    EXPECT_EQ(CheckPatterns({"/a", "/a/b"}).Problems(), Problems{});
}

TEST_F(CheckServiceUrlsTest, NotesAWildcardWhoseDirectoryIsLostToAnExactPattern) {
    const CheckReport lost = CheckPatterns({"/rest/a/b", "/rest/a/v1/items/*"});
    EXPECT_EQ(lost.Problems(), Problems{});
    EXPECT_TRUE(Says(lost, "\"/rest/a/v1/items/*\" does not match \"/rest/a/v1/items/\" itself"));
    EXPECT_FALSE(Says(CheckPatterns({"/rest/a/z", "/rest/a/v1/items/*"}), "itself"));
    EXPECT_FALSE(Says(CheckPatterns({"/rest/a/b", "/rest/a/v1/items*"}), "itself"));
}

} // namespace
