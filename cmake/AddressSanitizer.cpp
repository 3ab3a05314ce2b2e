// SPDX-License-Identifier: Apache-2.0
// Part of each executable that is built for the address sanitizer, which looks for leaks, too.

/// @return what is left out: what ACE loses of a thread that could not be started.
extern "C" const char* __lsan_default_suppressions();

const char* __lsan_default_suppressions() {
    return "leak:ACE_OS::thr_create\n";
}
