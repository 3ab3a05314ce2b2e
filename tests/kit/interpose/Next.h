// SPDX-License-Identifier: Apache-2.0
/// @file
/// The function that an interposed one stands before.
#pragma once

#include <cstdlib>

#include <dlfcn.h>

namespace httpclient::testing {

/// @return the next definition of a symbol after the executable's own: the real function.
template <class Function> Function* Next(const char* name) {
    void* const symbol = dlsym(RTLD_NEXT, name);
    if (symbol == nullptr) {
        std::abort(); // the function is there, or nothing that calls it could have been linked
    }
    return reinterpret_cast<Function*>(symbol);
}

} // namespace httpclient::testing
