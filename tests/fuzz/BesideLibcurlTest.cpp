// SPDX-License-Identifier: Apache-2.0
// Two readers of the same bytes. Where the engine has an answer, libcurl has the same one; where libcurl alone has one,
// the engine is the stricter, by a sentence of the standard.
#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <map>
#include <random>
#include <set>

#include <gtest/gtest.h>

#include "Change.h"
#include "Difference.h"
#include "http1/AnswerDelivery.h"

using namespace httpclient::http1;

namespace {

/// Every answer of the tables.
std::vector<Answer> AllAnswers() {
    std::vector<Answer> all;
    for (const Answers& table : {StatusLineAnswers(), FieldAnswers(), FramingAnswers(), ConnectionAnswers(),
                                 ChunkAnswers(), CodingAnswers()}) {
        std::copy_if(table.begin(), table.end(), std::back_inserter(all), [](const Answer& answer) {
            return answer.clean; // without TLS every end is a clean one
        });
    }
    return all;
}

bool HasRule(GrammarError error) {
    const auto& rules = StricterRules();
    return std::any_of(rules.begin(), rules.end(),
                       [error](const StricterRule& one) { return one.error == error; });
}

/// What became of a comparison.
struct Tally {
    int same = 0;
    int refusedByBoth = 0;
    std::map<GrammarError, int> stricter;
    std::map<std::string, int> known;

    void Compare(const Answer& answer) {
        const Reading reading = Deliver(answer, Whole(), Taking::Kept);
        const LibcurlReading libcurl = ReadByLibcurl(answer);
        if (reading.error != GrammarError{}) {
            ++(libcurl.answered ? stricter[reading.error] : refusedByBoth);
            EXPECT_TRUE(!libcurl.answered || HasRule(reading.error))
                << reading << " has no rule: " << ::testing::PrintToString(answer.bytes);
            return;
        }
        const KnownDifference* difference = nullptr;
        EXPECT_EQ(DifferenceFrom(libcurl, answer, reading, &difference), "")
            << "the engine has: " << reading << "\nof: " << ::testing::PrintToString(answer.bytes);
        ++(difference != nullptr ? known[difference->name] : same);
    }

    void Print() const {
        std::cout << same << " the same, " << refusedByBoth << " refused by both\n";
        for (const auto& [name, count] : known) {
            std::cout << "  " << count << " known: " << name << "\n";
        }
        for (const auto& [error, count] : stricter) {
            std::cout << "  " << count << " refused by the engine alone: " << make_error_code(error).message()
                      << "\n";
        }
    }
};

} // namespace

TEST(BesideLibcurl, EachAnswerOfTheTablesIsReadAlikeOrRefused) {
    Tally tally;
    for (const Answer& answer : AllAnswers()) {
        SCOPED_TRACE(answer.name);
        tally.Compare(answer);
    }
    tally.Print();
    EXPECT_GT(tally.same, 100);
}

TEST(BesideLibcurl, ChangedAnswersAreReadAlikeOrRefused) {
    const char* const wished = std::getenv("DIFFERENTIAL_DRAWS");
    const int draws = wished != nullptr ? std::atoi(wished) : 3000;
    const unsigned seed = std::random_device()();
    std::cout << "seed " << seed << "\n";
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    const std::vector<Answer> all = AllAnswers();
    Tally tally;
    for (int draw = 0; draw < draws && !::testing::Test::HasFailure(); ++draw) {
        Answer answer = all[random() % all.size()];
        for (auto changes = 1 + random() % 3; changes > 0; --changes) {
            Change(answer.bytes, random);
        }
        tally.Compare(answer);
    }
    tally.Print();
}
