// SPDX-License-Identifier: Apache-2.0
// Random steps, the same in every run, against models that are simple enough to be right.
#include <iterator>
#include <map>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <httpclient/HttpRequest.h>
#include <httpclient/HttpResponse.h>

namespace {

using Values = std::vector<std::string>;

class Dice {
public:
    explicit Dice(unsigned int seed) : m_engine(seed) {}

    unsigned int Below(unsigned int limit) { return static_cast<unsigned int>(m_engine() % limit); }
    /// Any bytes from @p lowest on.
    std::string Bytes(unsigned int longest, unsigned int lowest) {
        std::string text(Below(longest + 1), '\0');
        for (char& c : text) {
            c = static_cast<char>(lowest + Below(256 - lowest));
        }
        return text;
    }
    /// A name from a small set, so that names meet again; blank ones among them.
    std::string Name() {
        static const Values names{"",  " ", "  ", "\t",           " a", "a",
                                  "A", "b", "B",  "Content-Type", "ab", "\xFF\x80"};
        return names[Below(static_cast<unsigned int>(names.size()))];
    }
    std::string Value() { return Bytes(3, 0); }

private:
    std::mt19937 m_engine;
};

bool IsBlank(const std::string& name) {
    for (const char c : name) {
        if (c != ' ') {
            return false;
        }
    }
    return true;
}

/// What a map by names must do.
template <class Value> class Model {
public:
    bool Add(const std::string& name, const Value& value) {
        if (IsBlank(name)) {
            return false;
        }
        m_entries.insert({name, value});
        return true;
    }
    bool Remove(const std::string& name) { return m_entries.erase(name) == 1; }
    void Clear() { m_entries.clear(); }
    Value Get(const std::string& name) const {
        return m_entries.count(name) == 1 ? m_entries.at(name) : Value();
    }
    Value Get(unsigned int index) const {
        return index < m_entries.size() ? std::next(m_entries.begin(), index)->second : Value();
    }
    std::size_t size() const { return m_entries.size(); }
    const std::map<std::string, Value>& entries() const { return m_entries; }

private:
    std::map<std::string, Value> m_entries;
};

constexpr unsigned int SEEDS[] = {1, 20, 300, 4000};
constexpr int STEPS = 2500;

} // namespace

TEST(Property, UnescapingUndoesEscapingOfTextsWithoutNul) {
    for (const unsigned int seed : SEEDS) {
        Dice dice(seed);
        CHttpRequest request;
        for (int i = 0; i < STEPS; ++i) {
            const std::string text = dice.Bytes(40, 1);
            const std::string escaped = request.encodeParam(text);
            ASSERT_EQ(request.decodeParam(escaped), text) << "seed " << seed << ", step " << i;
            ASSERT_EQ(escaped.find_first_not_of("0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ"
                                                "abcdefghijklmnopqrstuvwxyz-._~%"),
                      std::string::npos)
                << escaped;
        }
    }
}

TEST(Property, UnescapingUndoesEscapingUpToTheFirstNul) {
    Dice dice(5);
    CHttpRequest request;
    for (int i = 0; i < STEPS; ++i) {
        const std::string text = dice.Bytes(20, 0) + '\0' + dice.Bytes(20, 0);
        ASSERT_EQ(request.decodeParam(request.encodeParam(text)), text.c_str()) << "step " << i;
    }
}

TEST(Property, UnescapingTakesAnyBytes) {
    Dice dice(6);
    CHttpRequest request;
    for (int i = 0; i < STEPS; ++i) {
        std::string text = dice.Bytes(30, 0);
        for (char& c : text) {
            c = dice.Below(3) == 0 ? '%' : c;
        }
        ASSERT_LE(request.decodeParam(text).size(), text.size()) << "step " << i;
    }
}

TEST(Property, HeaderEntriesOfARequestFollowTheModel) {
    for (const unsigned int seed : SEEDS) {
        Dice dice(seed);
        CHttpRequest request;
        Model<std::string> model;
        for (int i = 0; i < STEPS; ++i) {
            const std::string name = dice.Name(), value = dice.Value();
            switch (dice.Below(20)) {
            case 0:
                request.removeRequestHead();
                model.Clear();
                break;
            case 1:
                ASSERT_EQ(request.setContentType(value), model.Add("Content-Type", value));
                break;
            case 2:
            case 3:
            case 4:
            case 5:
            case 6:
                ASSERT_EQ(request.removeRequestHeadEntry(name), model.Remove(name));
                break;
            default:
                ASSERT_EQ(request.addRequestHeadEntry(name, value), model.Add(name, value));
            }
            const unsigned int index = dice.Below(12);
            ASSERT_EQ(request.getRequestHead(), model.entries()) << "seed " << seed << ", step " << i;
            ASSERT_EQ(request.getRequestHeadEntryNums(), model.size());
            ASSERT_EQ(request.getRequestHeadEntry(name), model.Get(name));
            ASSERT_EQ(request.getRequestHeadEntry(index), model.Get(index));
            ASSERT_EQ(request.getContentType(), model.Get("Content-Type"));
        }
    }
}

TEST(Property, ParametersOfARequestFollowTheModel) {
    for (const unsigned int seed : SEEDS) {
        Dice dice(seed);
        CHttpRequest request;
        Model<Values> model;
        for (int i = 0; i < STEPS; ++i) {
            const std::string name = dice.Name();
            const Values values(dice.Below(4), dice.Value());
            switch (dice.Below(20)) {
            case 0:
                request.RemoveAllParams();
                model.Clear();
                break;
            case 1:
            case 2:
            case 3:
            case 4:
            case 5:
                ASSERT_EQ(request.removeParam(name), model.Remove(name));
                break;
            case 6:
            case 7:
            case 8:
            case 9:
                ASSERT_EQ(request.addParam(name, "one"), model.Add(name, {"one"}));
                break;
            default:
                ASSERT_EQ(request.addParam(name, values), model.Add(name, values));
            }
            const unsigned int index = dice.Below(12);
            ASSERT_EQ(request.getRequestParams(), model.entries()) << "seed " << seed << ", step " << i;
            ASSERT_EQ(request.getParamNums(), model.size());
            ASSERT_EQ(request.getParam(name), model.Get(name));
            ASSERT_EQ(request.getParam(index), model.Get(index));
        }
    }
}

TEST(Property, ParameterTextFollowsTheModel) {
    for (const unsigned int seed : SEEDS) {
        Dice dice(seed);
        for (int i = 0; i < STEPS / 10; ++i) {
            CHttpRequest request;
            Model<Values> model;
            request.setAcceptCharset("UTF-8");
            const int verb = 1 + static_cast<int>(dice.Below(6));
            request.setVerb(static_cast<HTTPOPERATIONTYPE>(verb));
            for (unsigned int n = dice.Below(5); n > 0; --n) {
                const std::string name = dice.Name();
                Values values(dice.Below(10) == 0 ? 0 : 1 + dice.Below(2));
                for (std::string& value : values) {
                    value = dice.Value();
                }
                request.addParam(name, values);
                model.Add(name, values);
            }
            std::string expected;
            bool valueless = false;
            for (const auto& [name, values] : model.entries()) {
                valueless = valueless || values.empty();
                for (const std::string& value : values) {
                    expected += (expected.empty() ? "" : "&") + name + "=" + request.encodeParam(value);
                }
            }
            if (valueless) {
                expected.clear();
            } else if (!expected.empty() && (verb == 1 || verb == 4)) {
                expected.insert(0, "?");
            }
            ASSERT_EQ(request.getParamsAppendInURL(), expected) << "seed " << seed << ", request " << i;
        }
    }
}

TEST(Property, HeaderEntriesOfAResponseFollowTheModel) {
    for (const unsigned int seed : SEEDS) {
        Dice dice(seed);
        for (int round = 0; round < STEPS / 20; ++round) { // nothing is ever removed, so begin anew
            CHttpResponse response;
            Model<std::string> model;
            for (int i = 0; i < 20; ++i) {
                const std::string name = dice.Name(), value = dice.Value();
                if (dice.Below(10) == 0) {
                    ASSERT_EQ(response.setContentType(value), model.Add("Content-Type", value));
                } else {
                    ASSERT_EQ(response.addResponseHeadEntry(name, value), model.Add(name, value));
                }
                const unsigned int index = dice.Below(12);
                ASSERT_EQ(response.getResponseHeadNums(), model.size());
                ASSERT_EQ(response.getResponseHeadEntry(name), model.Get(name));
                ASSERT_EQ(response.getResponseHeadEntry(index), model.Get(index));
                ASSERT_EQ(response.getContentType(), model.Get("Content-Type"));
            }
        }
    }
}
