// SPDX-License-Identifier: Apache-2.0
// Part of each executable that is built for the thread sanitizer. Debian's libraries are not compiled for it:
// it does not see their atomic operations, and takes for races what these order.

/// @return what is left out: handshakes of several threads in OpenSSL, the demonstration server's sockets
/// that go from thread to thread, and ACE's own locks, destroyed at exit after workers that have ended.
extern "C" const char* __tsan_default_suppressions();

const char* __tsan_default_suppressions() {
    return "called_from_lib:libcrypto.so\n"
           "called_from_lib:libssl.so\n"
           "called_from_lib:libcpp-httplib.so\n"
           "race:ACE_OS::mutex_destroy\n"
           "race:ACE_Thread_Exit::cleanup\n";
}
