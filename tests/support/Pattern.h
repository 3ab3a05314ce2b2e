// SPDX-License-Identifier: Apache-2.0
/// @file
/// Regular expressions. The templates behind them take the compiler three seconds in each source that uses them, so that
/// one does it for all.
#pragma once

#include <memory>
#include <string>
#include <vector>

namespace httpclient::testing {

/// What std::regex can do.
class Pattern {
public:
    enum class Case { Matters, Ignored };

    /// @throw std::runtime_error when it is no expression.
    explicit Pattern(const std::string& expression, Case letters = Case::Matters);

    bool IsAllOf(const std::string& text) const;
    bool IsIn(const std::string& text) const;
    /// @return the text with something else in place of each match.
    std::string Replaced(const std::string& text, const std::string& by) const;
    /// @return of each match the whole, and then its groups.
    std::vector<std::vector<std::string>> AllIn(const std::string& text) const;

private:
    struct Expression;
    std::shared_ptr<const Expression> m_expression;
};

} // namespace httpclient::testing
