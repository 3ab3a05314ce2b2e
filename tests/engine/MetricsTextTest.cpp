// SPDX-License-Identifier: Apache-2.0
// The statistics as text: every name with its labels, escaped, in the order of the format.
#include <atomic>
#include <cstdio>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <httpclient/testing/Environment.h>
#include <httpclient/testing/Files.h>
#include <httpclient/testing/LoopbackServer.h>

#include "engine/Snapshot.h"
#include "setting/EngineTest.h"
#include "tests/support/Pattern.h"

namespace {

class MetricsText : public EngineTest {};

std::vector<std::string> LinesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    return lines;
}

/// The names of the labels of each metric: "httpclient_connections{origin,state}".
std::set<std::string> Shapes(const std::string& text) {
    std::set<std::string> shapes;
    for (const std::string& line : LinesOf(text)) {
        if (line[0] != '#') {
            const std::string labels = line.substr(0, line.rfind(' '));
            shapes.insert(httpclient::testing::Pattern("=\"([^\"\\\\]|\\\\.)*\"").Replaced(labels, ""));
        }
    }
    return shapes;
}

std::string TextOf(const std::string& labelValue) {
    EngineStatistics::Body body;
    body.families.push_back({"name_total", "counter", "Help.", 0});
    body.samples.push_back({"name_total", {{"label", labelValue}}, 1});
    return engine::MetricsText(body);
}

std::string Escaped(const std::string& labelValue) {
    const std::string text = TextOf(labelValue);
    const std::string before = "name_total{label=\"";
    const std::size_t begin = text.find(before) + before.size();
    return text.substr(begin, text.rfind("\"} 1\n") - begin);
}

} // namespace

TEST_F(MetricsText, HasEveryNameWithItsLabels) {
    std::atomic<int> request{0};
    kit::LoopbackServer server(
        [&](const kit::RecordedRequest&) { return kit::Respond(request++ == 0 ? 503 : 200); });
    const Client client = ClientOf(OptionsFor(server).retry(RetryPolicy().attempts(2).pauses(0ms, 0ms)));
    ASSERT_TRUE(client.Send(Get()));
    const std::set<std::string> shapes = Shapes(m_engine.metricsText());
    for (const char* shape :
         {"httpclient_calls_total{origin,method,label,outcome}",
          "httpclient_call_duration_seconds_bucket{origin,le}",
          "httpclient_call_duration_seconds_sum{origin}", "httpclient_call_duration_seconds_count{origin}",
          "httpclient_lease_wait_seconds_bucket{origin,le}", "httpclient_calls_waiting{origin}",
          "httpclient_connections{origin,state}", "httpclient_connections_opened_total{origin}",
          "httpclient_connections_closed_total{origin,reason}", "httpclient_retries_total{origin,reason}",
          "httpclient_bytes_total{origin,direction}", "httpclient_host_errors_total{where}",
          "httpclient_pool_waiting", "httpclient_pool_waits_total"}) {
        EXPECT_EQ(shapes.count(shape), 1U) << shape;
    }
}

TEST_F(MetricsText, SaysTheSameAsTheStatistics) {
    kit::LoopbackServer server(Always());
    ASSERT_TRUE(ClientOf(server).Send(Get()));
    const EngineStatistics statistics = m_engine.statistics();
    std::vector<std::string> samples;
    for (const std::string& line : LinesOf(statistics.text())) {
        if (line[0] != '#') {
            samples.push_back(line);
        }
    }
    ASSERT_EQ(samples.size(), statistics.sampleCount());
    for (std::size_t index = 0; index < samples.size(); ++index) {
        std::string line = statistics.name(index);
        char before = '{';
        for (const auto& [name, value] : statistics.labels(index)) {
            line += before + name + "=\"" + value + "\"";
            before = ',';
        }
        line += statistics.labels(index).empty() ? " " : "} ";
        EXPECT_EQ(samples[index].rfind(line, 0), 0U) << samples[index] << " is not " << line;
        EXPECT_EQ(std::stod(samples[index].substr(line.size())), statistics.value(index)) << samples[index];
    }
}

TEST_F(MetricsText, HasAHelpAndATypeBeforeEachNameOnce) {
    kit::LoopbackServer server(Always());
    ASSERT_TRUE(ClientOf(server).Send(Get()));
    std::string name;
    std::set<std::string> seen;
    for (const std::string& line : LinesOf(m_engine.metricsText())) {
        std::istringstream words(line);
        std::string hash;
        std::string what;
        if (line[0] != '#') {
            EXPECT_EQ(line.rfind(name, 0), 0U) << line;
            continue;
        }
        std::string of;
        words >> hash >> what >> of;
        if (what == "HELP") {
            EXPECT_TRUE(seen.insert(of).second) << of;
            name = of;
        } else {
            EXPECT_EQ(what, "TYPE");
            EXPECT_EQ(of, name);
        }
    }
    EXPECT_EQ(seen.size(), 15U);
}

TEST_F(MetricsText, EscapesLabelValues) {
    EXPECT_EQ(Escaped("/orders/{id}"), "/orders/{id}");
    EXPECT_EQ(Escaped("a\\b\"c\nd"), "a\\\\b\\\"c\\nd");
    EXPECT_EQ(Escaped("\r\t"), "\r\t") << "other control characters stand for themselves";
    EXPECT_EQ(Escaped("\xC3\xA4 \xE2\x82\xAC \xF0\x9F\x98\x80"), "\xC3\xA4 \xE2\x82\xAC \xF0\x9F\x98\x80");
}

TEST_F(MetricsText, WritesWhatIsNoUtf8AsItsBytes) {
    EXPECT_EQ(Escaped("\xFF"), "\\\\xff");
    EXPECT_EQ(Escaped("a\xC3"), "a\\\\xc3") << "cut off";
    EXPECT_EQ(Escaped("\xC0\x80"), "\\\\xc0\\\\x80") << "longer than it need be";
    EXPECT_EQ(Escaped("\xED\xA0\x80"), "\\\\xed\\\\xa0\\\\x80") << "half of a pair";
    EXPECT_EQ(Escaped("\xF4\x90\x80\x80"), "\\\\xf4\\\\x90\\\\x80\\\\x80") << "beyond the last character";
    EXPECT_EQ(Escaped("\xE2\x82z"), "\\\\xe2\\\\x82z");
}

TEST_F(MetricsText, WritesNumbersInFull) {
    EXPECT_EQ(engine::MetricsNumber(0), "0");
    EXPECT_EQ(engine::MetricsNumber(0.0005), "0.0005");
    EXPECT_EQ(engine::MetricsNumber(60), "60");
    EXPECT_EQ(engine::MetricsNumber(1e15), "1000000000000000");
    EXPECT_EQ(engine::MetricsNumber(0.000000001), "0.000000001");
}

TEST_F(MetricsText, IsTakenByPrometheus) {
#ifdef PROMTOOL
    std::atomic<int> request{0};
    kit::LoopbackServer server(
        [&](const kit::RecordedRequest&) { return kit::Respond(request++ == 0 ? 503 : 200); });
    const Client client = ClientOf(OptionsFor(server).retry(RetryPolicy().attempts(2).pauses(0ms, 0ms)));
    for (const char* label : {"", "/orders/{id}", "a\\b\"c\nd", "\xFF\xC3", "\xE2\x82\xAC"}) {
        ASSERT_TRUE(client.Send(Get().label(label)));
    }
    const kit::TemporaryDirectory directory;
    const std::string told = (directory.path() / "told").string();
    std::FILE* const tool = popen((PROMTOOL " check metrics >" + told + " 2>&1").c_str(), "w");
    ASSERT_NE(tool, nullptr);
    std::fputs(m_engine.metricsText().c_str(), tool);
    EXPECT_EQ(pclose(tool), 0);
    EXPECT_EQ(kit::ReadFile(told), "") << "it finds nothing to say";
#else
    GTEST_SKIP() << "promtool is not there (Debian's prometheus)";
#endif
}
