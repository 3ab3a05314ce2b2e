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

/// The plan that this thread is counted under, as a ticket for a thread that it starts.
unsigned int Ticket() noexcept;
/// Has this thread counted under the plan of a ticket.
void Join(unsigned int ticket) noexcept;

/// Notes a block of a counted thread.
void NoteAllocated(const void* block, const void* caller) noexcept;
/// Forgets a block. @return whether it had been noted.
bool NoteFreed(const void* block) noexcept;

} // namespace fault_ledger
