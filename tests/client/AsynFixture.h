// SPDX-License-Identifier: Apache-2.0
/// @file
/// What tests of the asynchronous send share.
#pragma once

#include <cstddef>
#include <string>
#include <thread>
#include <vector>

#include <signal.h>

#include "ClientFixture.h"
#include "interpose/Select.h"

/// What one call of the caller's function was given, and where it ran.
struct Outcome {
    int status = 0;
    std::string body;
    std::string head;
    std::string type;
    double length = 0;
    std::thread::id thread;
    sigset_t blockedSignals{};
};

/// Collects the outcomes of asynchronous sends. The callback is a plain function, so they are kept
/// in one place.
class Outcomes {
public:
    /// The caller's function.
    static void Callback(const CHttpResponse& response);
    static void Clear();
    /// @return the outcomes so far, in order.
    static std::vector<Outcome> All();
    /// Waits for this many outcomes. @return whether they came.
    static bool WaitFor(std::size_t count);
};

/// Ends each test only when its workers have ended. The workers' pauses are cut to a hundredth.
class AsynTest : public ClientTest {
protected:
    AsynTest();
    ~AsynTest() override;

    /// Sends, and waits for the outcome and for the connection to be back.
    Outcome Send(CHttpClient& client, const CHttpRequest& request, bool bSSL = false);

    httpclient::testing::HeldSelect m_select;
};

/// Waits until every connection of the pool has been given back. @return whether they have.
bool WaitUntilAllAreBack();
