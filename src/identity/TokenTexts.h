// SPDX-License-Identifier: Apache-2.0
/// @file
/// The texts of service tokens: how they are asked for, what comes back, how requests carry them. Both roads speak them.
#pragma once

#include <ctime>
#include <string>

/// The path of the token exchange at the token service.
extern const std::string& g_strSiaTokenPath;
/// The header that carries a token, in lower case.
extern const std::string& g_strTokenHeader;
/// What the body of an exchange's request is.
extern const std::string& g_strExchangeType;

/// Twelve hours from receipt, whatever the service says.
constexpr std::time_t TOKEN_LIFE_SECONDS = 43200;

/// The status of an answer that holds a token.
constexpr int EXCHANGE_STATUS = 200;

/// @return the body of an exchange's request: the process's JWT for a service's token.
std::string ExchangeContent(const std::string& service, const std::string& jwt);

/// Takes the token out of the answer of an exchange, and logs how it went, without the token.
/// @param status of the answer; below 0: there was none.
/// @param[out] token the token, which may be empty. @param[out] end when it ends, by the local clock.
/// @return whether there is one. @throw std::exception when the answer is JSON, but no object.
bool ReadExchangeAnswer(int status, const std::string& body, std::string& token, std::time_t& end);
