// SPDX-License-Identifier: Apache-2.0 For executables whose threads are cancelled, when they are built for
// the address sanitizer. It marks frames on the stack, and does not see that the C library unwinds them:
// what runs there next would be reported. With its local variables elsewhere the stack bears no marks.

#ifdef __SANITIZE_ADDRESS__
extern "C" const char* __asan_default_options();

const char* __asan_default_options() {
    return "detect_stack_use_after_return=1";
}
#endif
