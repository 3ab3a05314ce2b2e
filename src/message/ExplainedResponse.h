// SPDX-License-Identifier: Apache-2.0
/// @file
/// What a CHttpResponse holds.
#pragma once

#include <optional>

#include <httpclient/Result.h>

#include "message/HttpResponseImp.h"

/// A response that can tell why there is none. A class of its own, because the layout of CHttpResponseImp is fixed.
class ExplainedResponse final : public CHttpResponseImp {
public:
    /// A failure, of the last send over the engine; nothing when that got an answer.
    std::optional<httpclient::Result> failure;
};
