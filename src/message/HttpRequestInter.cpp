// SPDX-License-Identifier: Apache-2.0
#include "message/HttpRequestInter.h"

CHttpRequestInter::~CHttpRequestInter() = default;

void CHttpRequestInter::setCustomCookieParam(const std::string& /*cookie*/) {}

std::string CHttpRequestInter::getCustomCookieParam() const {
    return "";
}
