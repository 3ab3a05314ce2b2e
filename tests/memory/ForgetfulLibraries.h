// SPDX-License-Identifier: Apache-2.0
/// @file
/// What others leave in the memory that they give back is wiped, so that what is found there is this library's.
#pragma once

#include <cstddef>

/// From now on what libcurl, OpenSSL and the JSON library give back is wiped: nobody promises that they do it themselves.
/// @return in how many pieces of code they were found.
std::size_t WipeAfterForgetfulLibraries();

/// While it lives, all that is given back is wiped, whoever does it. One at a time.
class WipingAll {
public:
    WipingAll();
    ~WipingAll();
    WipingAll(const WipingAll&) = delete;
    WipingAll& operator=(const WipingAll&) = delete;
};
