// SPDX-License-Identifier: Apache-2.0
/// @file
/// How the pool's lock is taken.
#pragma once

#include <ace/Guard_T.h>
#include <ace/RW_Thread_Mutex.h>

/// The lock is only ever taken for writing. Should taking it fail, the operation runs all the same.
using PoolGuard = ACE_Write_Guard<ACE_RW_Thread_Mutex>;
