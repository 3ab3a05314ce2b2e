// SPDX-License-Identifier: Apache-2.0
/// @file
/// Counts what a piece of code allocates.
#pragma once

/// @return how often the calling thread has called operator new so far.
long AllocationCount();
