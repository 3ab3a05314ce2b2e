// SPDX-License-Identifier: Apache-2.0
/// @file
/// How the outcome of a call of the engine becomes a response of the first road.
#pragma once

#include <httpclient/Result.h>

class CHttpResponse;

/// Fills a response with an answer, whole or not at all; without one it only keeps why, and is otherwise as it was.
/// @return the status; -1 when there is no answer, or no memory to keep it in.
int FillResponse(CHttpResponse& response, httpclient::Result outcome);
