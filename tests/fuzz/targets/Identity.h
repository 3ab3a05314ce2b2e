// SPDX-License-Identifier: Apache-2.0
/// @file
/// An identity that ends, which the process's one never does.
#pragma once

#include <memory>

#include "identity/HttpSiaToken.h"

struct IdentityEnd {
    void operator()(CHttpSiaToken* identity) const { delete identity; }
};
using Identity = std::unique_ptr<CHttpSiaToken, IdentityEnd>;

inline Identity MakeIdentity() {
    return Identity(new CHttpSiaToken);
}
