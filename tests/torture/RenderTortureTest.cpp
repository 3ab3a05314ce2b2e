// SPDX-License-Identifier: Apache-2.0
// Parameters are rendered into a URL, with each of the fallible calls failing in turn.
#include <memory>
#include <new>
#include <string>
#include <vector>

#include <httpclient/HttpRequest.h>

#include "Requests.h"
#include "TortureTest.h"

using namespace httpclient::testing;

namespace {

/// @return a name of a character set that no run before has used: opened conversions are kept for good. Sets
///         go by any case.
std::string FreshCharset(unsigned int number) {
    std::string name = "windows-1252";
    for (char& letter : name) {
        if (letter >= 'a' && letter <= 'z') {
            if (number % 2 == 1) {
                letter = static_cast<char>(letter - 'a' + 'A');
            }
            number /= 2;
        }
    }
    return name;
}

class RenderTorture : public TortureTest {
protected:
    void Prepare() override {
        if (FaultPlan::LiveBlocks() == 0) { // else it is the same run once more
            ++m_runs;
        }
        m_text.reset();
    }
    void Run() override {
        try {
            CHttpRequest request;
            request.setVerb(HTTPOPERATION_GET);
            request.setAcceptCharset(FreshCharset(m_runs));
            request.addParam("name", "caf\xe9");
            request.addParam("other", std::vector<std::string>{"a b", LONG_VALUE});
            m_text = std::make_unique<std::string>(request.getParamsAppendInURL());
        } catch (const std::bad_alloc&) {
            m_text.reset();
        }
    }
    void ExpectOutcome() override {
        if (m_text) {
            EXPECT_TRUE(IsWholeOrLacksValues(*m_text)) << *m_text;
        }
    }
    void Discard() override { m_text.reset(); }
    void ExpectNextToWork() override {
        Run();
        ASSERT_TRUE(m_text);
        EXPECT_EQ(*m_text, Text("caf%C3%A9", "a%20b", LONG_VALUE));
    }

private:
    static std::string Text(const std::string& first, const std::string& second, const std::string& third) {
        return "?name=" + first + "&other=" + second + "&other=" + third;
    }
    /// A value that cannot be converted or escaped is rendered empty; so are all when there is no handle to
    /// escape them with.
    static bool IsWholeOrLacksValues(const std::string& text) {
        return text == Text("caf%C3%A9", "a%20b", LONG_VALUE) || text == Text("", "a%20b", LONG_VALUE) ||
               text == Text("", "", "") || text == Text("caf%C3%A9", "", LONG_VALUE) ||
               text == Text("caf%C3%A9", "a%20b", "");
    }

    static inline const std::string LONG_VALUE = "one-that-is-longer-than-a-short-string";
    unsigned int m_runs = 0;
    std::unique_ptr<std::string> m_text;
};

} // namespace

TEST_F(RenderTorture, IsSurvived) {
    Torture();
}
