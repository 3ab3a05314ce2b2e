// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include <sys/types.h>

class CHttpResponse;

namespace tour {

/// The answer to an asynchronous request, as its callback found it.
struct Answer {
    int status = 0;
    std::string head;
    std::string body;
    pid_t thread = 0; ///< where the callback ran
};

/// A callback for asynSendRequest() that keeps the answer. Safe from any thread.
void KeepAnswer(const CHttpResponse& response);

/// Waits for so many answers, counted from the last call, and for the end of the threads that brought them:
/// until then they may still use the pool. @return the answers, in the order of their arrival.
/// @throw std::runtime_error when that takes longer than half a minute.
std::vector<Answer> WaitForAnswers(size_t count);

} // namespace tour
