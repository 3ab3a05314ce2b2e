// SPDX-License-Identifier: Apache-2.0
/// @file
/// Where the functions that may fail ask whether they are to.
#pragma once

#include <cstddef>

#include "FaultPlan.h"

/// Where the functions that may fail ask whether they are to. Allocates nothing. Safe from any thread.
namespace fault_ledger {

/// Counts a call. @return whether it is the one to fail.
bool Refuses(Fault fault) noexcept;
/// @return which of the errors that it may have the call that fails has, counted from 0.
unsigned Variant() noexcept;
/// Counts an allocation. @return whether it is the call to fail.
/// @param caller who asks for the memory.
bool RefusesMemory(const void* caller) noexcept;

/// Announces a thread that this one starts. @return the plan that it is counted under, for it to join.
unsigned int Announce() noexcept;
/// Takes back an announcement.
void Withdraw() noexcept;
/// Has this thread, a new one, counted under a plan.
void Join(unsigned int plan) noexcept;

/// Notes a block of a counted thread.
void NoteAllocated(const void* block, const void* caller) noexcept;
/// Forgets a block. @return whether it had been noted.
bool NoteFreed(const void* block) noexcept;

} // namespace fault_ledger
