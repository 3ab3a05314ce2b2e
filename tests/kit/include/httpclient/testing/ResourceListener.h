// SPDX-License-Identifier: Apache-2.0
/// @file
/// Fails the tests that leave descriptors or threads behind. Needs GoogleTest and httpclient::testing_gtest.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>

#include <gtest/gtest.h>

namespace httpclient::testing {

/// The open descriptors and the threads of this process.
struct Resources {
    std::size_t descriptors = 0; ///< Entries of /proc/self/fd.
    std::size_t threads = 0;     ///< Entries of /proc/self/task.
    /// @return what this process has now.
    static Resources Now();
};

/// @return what the open descriptors are, one per line, as in "5 -> socket:[4711]".
std::string DescribeDescriptors();

/// Fails each test after which the process has more open descriptors or threads than before, and makes
/// failures reported by ReportFailure() failures of the running test.
///
/// @code
/// ::testing::UnitTest::GetInstance()->listeners().Append(new httpclient::testing::ResourceListener);
/// @endcode
///
/// @par Thread Safety
/// One per process; GoogleTest owns it and calls it.
class ResourceListener : public ::testing::EmptyTestEventListener {
public:
    /// @param patience how long stragglers (detached threads, above all) may take to end.
    explicit ResourceListener(std::chrono::milliseconds patience = std::chrono::milliseconds(2000));

    /// Lets the running test leave so much behind, for what lives as long as the process (the pool's own
    /// thread and the connections that it keeps, say).
    static void Allow(std::size_t descriptors, std::size_t threads);

    /// @cond INTERNAL
    void OnTestProgramStart(const ::testing::UnitTest& unit) override;
    void OnTestStart(const ::testing::TestInfo& test) override;
    void OnTestEnd(const ::testing::TestInfo& test) override;
    void OnTestProgramEnd(const ::testing::UnitTest& unit) override;
    /// @endcond

private:
    std::chrono::milliseconds m_patience;
    Resources m_before;
    std::string m_descriptorsBefore;
};

} // namespace httpclient::testing
