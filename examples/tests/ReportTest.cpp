// SPDX-License-Identifier: Apache-2.0
#include "send/Report.h"

#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "send/Errors.h"

using namespace sender;
using testing::HasSubstr;

namespace {

Outcome Answer(int status) {
    Outcome outcome;
    outcome.status = status;
    outcome.head = "HTTP/1.1 200 OK\r\n\r\n";
    outcome.body = std::string("a\0b", 3);
    outcome.type = "text/plain; charset=UTF-8";
    outcome.charset = "UTF-8";
    outcome.length = 3;
    outcome.time = std::chrono::microseconds(1500);
    return outcome;
}

Tally TallyOf(const std::vector<int>& statuses) {
    Tally tally;
    for (const int status : statuses) {
        tally.Add(Answer(status));
    }
    return tally;
}

} // namespace

TEST(Report, ExitCodeTellsTheKindOfAnswer) {
    EXPECT_EQ(ExitCodeOf(Answer(200)), 0);
    EXPECT_EQ(ExitCodeOf(Answer(399)), 0);
    EXPECT_EQ(ExitCodeOf(Answer(400)), 4);
    EXPECT_EQ(ExitCodeOf(Answer(499)), 4);
    EXPECT_EQ(ExitCodeOf(Answer(500)), 5);
    EXPECT_EQ(ExitCodeOf(Answer(599)), 5);
    EXPECT_EQ(ExitCodeOf(Answer(Outcome::NO_ANSWER)), 1);
}

TEST(Report, ExitCodeOfManyIsThatOfTheWorst) {
    EXPECT_EQ(ExitCodeOf(TallyOf({200, 302})), 0);
    EXPECT_EQ(ExitCodeOf(TallyOf({200, 404})), 4);
    EXPECT_EQ(ExitCodeOf(TallyOf({404, 500, 200})), 5);
    EXPECT_EQ(ExitCodeOf(TallyOf({404, -1, 500})), 1);
    EXPECT_EQ(ExitCodeOf(TallyOf({})), 1);
}

TEST(Report, DescribesAnAnswerInOneLine) {
    EXPECT_EQ(Describe(Answer(200), Target{}),
              "200  3 bytes  text/plain; charset=UTF-8  charset UTF-8  1.5 ms\n");
}

TEST(Report, SaysWhereNoAnswerCameFrom) {
    Outcome outcome;
    EXPECT_THAT(Describe(outcome, Target{"http", "h", 81, "/"}),
                HasSubstr("no answer from http://h:81 after"));
}

TEST(Report, SumsUpARun) {
    LoadResult result;
    result.tally = TallyOf({200, 200, 500, -1});
    result.time = std::chrono::seconds(2);
    Options options;
    options.threads = 2;
    EXPECT_EQ(Describe(result, options), "requests  4 in 2.00 s on 2 threads: 2.0 per second\n"
                                         "status    no answer: 1, 200: 2, 500: 1\n"
                                         "time      min 1.50 ms  p50 1.50  p90 1.50  p99 1.50  max 1.50\n"
                                         "bodies    12 bytes\n"
                                         "        2.048 ms         4 " +
                                             std::string(50, '#') + "\n");
}

TEST(Report, SaysHowARunWasSent) {
    Options options;
    EXPECT_THAT(Describe(LoadResult{}, options), HasSubstr(" on 1 thread: "));
    options.threads = 4;
    options.async = true;
    EXPECT_THAT(Describe(LoadResult{}, options), HasSubstr(" asynchronously, 4 at a time: "));
}

TEST(Report, WritesTheBodyByteForByte) {
    std::ostringstream out;
    Options options;
    WriteAnswer(Answer(200), options, out);
    EXPECT_EQ(out.str(), std::string("a\0b", 3));
}

TEST(Report, WritesTheHeadBeforeTheBodyWhenAsked) {
    std::ostringstream out;
    Options options;
    options.showHead = true;
    WriteAnswer(Answer(200), options, out);
    EXPECT_EQ(out.str(), std::string("HTTP/1.1 200 OK\r\n\r\na\0b", 22));
}

TEST(Report, SaysThatAFileCannotBeWritten) {
    std::ostringstream out;
    Options options;
    options.outputFile = "/nowhere/at/all";
    EXPECT_THROW(WriteAnswer(Answer(200), options, out), OutputError);
    options.outputFile = "/dev/full";
    EXPECT_THROW(WriteAnswer(Answer(200), options, out), OutputError);
}
