// SPDX-License-Identifier: Apache-2.0
/// @file
/// What the process uses.
#pragma once

/// Bytes, as numbers to calculate with.
struct Memory {
    double allocated; ///< By malloc, in all its arenas, and not given back.
    double resident;  ///< In memory, stacks and libraries included; the kernel's sockets and buffers are not.
};

Memory MemoryNow();

/// Gives back what malloc keeps for later, so that what is allocated from now on shows as resident.
void TrimMemory();

int ThreadsNow();
