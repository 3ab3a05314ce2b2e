// SPDX-License-Identifier: Apache-2.0
#include "message/HttpResponseInter.h"

CHttpResponseInter::~CHttpResponseInter() = default;
