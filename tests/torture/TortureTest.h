// SPDX-License-Identifier: Apache-2.0
/// @file
/// Runs a scenario again and again, each time with another of its fallible calls failing.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "FaultPlan.h"

/// A scenario under torture.
///
/// 25 of its calls fail in turn, drawn so that each kind has its share. Environment: TORTURE_DRAWS for
/// another number, TORTURE_ALL for all calls, TORTURE_SEED for the draws of a run that printed that seed,
/// TORTURE_CALL for one call by its number.
///
/// After each failure: nothing crashed, everything that was allocated is free once the pool is (but for what the engine
/// keeps of a life that has ended, under the STRICT profile), every
/// connection is back in the pool, no lock is held, no secret was logged, and the next request works.
class TortureTest : public ::testing::Test {
protected:
    TortureTest();
    ~TortureTest() override;

    /// Makes ready for one run. Nothing fails here.
    virtual void Prepare() {}
    /// The scenario: its calls are the ones that fail.
    virtual void Run() = 0;
    /// Waits for the end of what the scenario started on other threads.
    virtual void Settle() {}
    /// Whether what came of the scenario is what may come of it.
    virtual void ExpectOutcome() {}
    /// Frees what came of the scenario.
    virtual void Discard() {}
    /// The next request: nothing fails here, and it has to work.
    virtual void ExpectNextToWork() = 0;

    /// Whose memory fails.
    MemoryOf m_memory = MemoryOf::Everybody;
    /// Texts that no message may hold.
    std::vector<std::string> m_secrets;

    /// Tortures the scenario.
    void Torture();

private:
    std::vector<Fault> Rehearse();
    void RunWithFailing(std::size_t failing);
    void ExpectPoolInOrder();
    void ExpectNoSecretLogged();
    void ExpectAllFreed(std::size_t failing, Fault kind);
    void CleanUp();

    std::size_t m_kept = 0; ///< how many blocks of memory each run leaves until the process ends
};

/// Waits until every connection of the pool has been given back. @return whether they have.
bool WaitUntilAllAreBack();
/// Closes the pool with all its connections, TLS ones included.
void CloseEverything();
