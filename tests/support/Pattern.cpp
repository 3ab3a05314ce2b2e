// SPDX-License-Identifier: Apache-2.0
#include "tests/support/Pattern.h"

#include <regex>

namespace httpclient::testing {

struct Pattern::Expression {
    std::regex regex;
};

Pattern::Pattern(const std::string& expression, Case letters)
    : m_expression(std::make_shared<Expression>(Expression{
          std::regex(expression, letters == Case::Ignored ? std::regex::ECMAScript | std::regex::icase
                                                          : std::regex::ECMAScript)})) {}

bool Pattern::IsAllOf(const std::string& text) const {
    return std::regex_match(text, m_expression->regex);
}

bool Pattern::IsIn(const std::string& text) const {
    return std::regex_search(text, m_expression->regex);
}

std::string Pattern::Replaced(const std::string& text, const std::string& by) const {
    return std::regex_replace(text, m_expression->regex, by);
}

std::vector<std::vector<std::string>> Pattern::AllIn(const std::string& text) const {
    std::vector<std::vector<std::string>> all;
    for (std::sregex_iterator match(text.begin(), text.end(), m_expression->regex), end; match != end;
         ++match) {
        all.emplace_back(match->begin(), match->end());
    }
    return all;
}

} // namespace httpclient::testing
