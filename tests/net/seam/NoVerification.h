// SPDX-License-Identifier: Apache-2.0
/// @file
/// Stands before what OpenSSL begins to verify a chain with: link NoVerification.cpp.
#pragma once

/// While it lives, this thread has no memory to verify a certificate with.
class NoVerification {
public:
    NoVerification();
    ~NoVerification();
    NoVerification(const NoVerification&) = delete;
    NoVerification& operator=(const NoVerification&) = delete;
};
