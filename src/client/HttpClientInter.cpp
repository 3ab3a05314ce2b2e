// SPDX-License-Identifier: Apache-2.0
#include "client/HttpClientInter.h"

CHttpClientInter::~CHttpClientInter() = default;
