// SPDX-License-Identifier: Apache-2.0
#include "tour/Answers.h"

#include <filesystem>
#include <mutex>
#include <utility>

#include <unistd.h>

#include <fmt/format.h>

#include <httpclient/HttpResponse.h>

#include "tour/WaitUntil.h"

namespace tour {
namespace {

std::mutex g_mutex; ///< guards g_answers
std::vector<Answer> g_answers;

size_t CountAnswers() {
    const std::lock_guard<std::mutex> lock(g_mutex);
    return g_answers.size();
}

bool IsThere(pid_t thread) {
    return std::filesystem::exists(fmt::format("/proc/self/task/{}", thread));
}

} // namespace

void KeepAnswer(const CHttpResponse& response) {
    Answer answer{response.getStatusCode(), response.getResponseHead(), response.getResponseBody(), gettid()};
    const std::lock_guard<std::mutex> lock(g_mutex);
    g_answers.push_back(std::move(answer));
}

std::vector<Answer> WaitForAnswers(size_t count) {
    WaitUntil("the answers are there", [count] { return CountAnswers() >= count; });
    std::vector<Answer> answers;
    {
        const std::lock_guard<std::mutex> lock(g_mutex);
        answers.swap(g_answers);
    }
    for (const Answer& answer : answers) {
        WaitUntil("a worker has ended", [&] { return !IsThere(answer.thread); });
    }
    return answers;
}

} // namespace tour
