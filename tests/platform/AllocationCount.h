// SPDX-License-Identifier: Apache-2.0
/// @file
/// Counts what a piece of code allocates.
#pragma once

/// @return whether allocations are counted at all: memcheck puts its own operator new in the place
/// of every other.
bool CountsAllocations();

/// @return how often the calling thread has called operator new so far.
long AllocationCount();
