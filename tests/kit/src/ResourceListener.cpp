// SPDX-License-Identifier: Apache-2.0
#include <atomic>
#include <condition_variable>
#include <filesystem>
#include <mutex>
#include <system_error>
#include <thread>

#include <httpclient/testing/Failures.h>
#include <httpclient/testing/ResourceListener.h>

namespace httpclient::testing {

namespace {

std::atomic<std::size_t> g_allowedDescriptors{0};
std::atomic<std::size_t> g_allowedThreads{0};

std::size_t Entries(const char* directory) {
    std::size_t count = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(directory)) {
        ++count;
    }
    return count;
}

bool Within(const Resources& now, const Resources& before) {
    return now.descriptors <= before.descriptors + g_allowedDescriptors &&
           now.threads <= before.threads + g_allowedThreads;
}

// A condition variable nobody notifies: unlike a sleep, it stays real when nanosleep() is held.
void Pause() {
    std::mutex mutex;
    std::condition_variable never;
    std::unique_lock<std::mutex> lock(mutex);
    never.wait_for(lock, std::chrono::milliseconds(2));
}

} // namespace

Resources Resources::Now() {
    // Reading the directory takes a descriptor of its own.
    return Resources{Entries("/proc/self/fd") - 1, Entries("/proc/self/task")};
}

std::string DescribeDescriptors() {
    std::string text;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code closedMeanwhile;
        const auto target = std::filesystem::read_symlink(entry.path(), closedMeanwhile);
        text += entry.path().filename().string() + " -> " + target.string() + "\n";
    }
    return text;
}

ResourceListener::ResourceListener(std::chrono::milliseconds patience) : m_patience(patience) {}

void ResourceListener::Allow(std::size_t descriptors, std::size_t threads) {
    g_allowedDescriptors = descriptors;
    g_allowedThreads = threads;
}

void ResourceListener::OnTestProgramStart(const ::testing::UnitTest& /*unit*/) {
    SetFailureReporter([](const std::string& what) { ADD_FAILURE() << what; });
    // With a process's first thread, the thread sanitizer starts one of its own. It is none of any test's.
    std::thread([] {}).join();
}

void ResourceListener::OnTestProgramEnd(const ::testing::UnitTest& /*unit*/) {
    SetFailureReporter({});
}

void ResourceListener::OnTestStart(const ::testing::TestInfo& /*test*/) {
    Allow(0, 0);
    m_before = Resources::Now();
    m_descriptorsBefore = DescribeDescriptors();
}

void ResourceListener::OnTestEnd(const ::testing::TestInfo& /*test*/) {
    const auto deadline = std::chrono::steady_clock::now() + m_patience;
    Resources now = Resources::Now();
    while (!Within(now, m_before) && std::chrono::steady_clock::now() < deadline) {
        Pause();
        now = Resources::Now();
    }
    if (!Within(now, m_before)) {
        ADD_FAILURE() << "the test leaves " << now.descriptors << " descriptors and " << now.threads
                      << " threads behind, there were " << m_before.descriptors << " and " << m_before.threads
                      << "\nbefore:\n"
                      << m_descriptorsBefore << "now:\n"
                      << DescribeDescriptors();
    }
}

} // namespace httpclient::testing
