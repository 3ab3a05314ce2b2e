// SPDX-License-Identifier: Apache-2.0
/// @file
/// What the checks found, and how it is told.
#pragma once

#include <cstddef>
#include <ostream>
#include <string>
#include <vector>

enum class Level { Ok, Note, Warning, Error };

/// "1 error", "2 errors".
std::string Counted(std::size_t count, const std::string& one, const std::string& several);

/// One thing that a check found.
struct Finding {
    std::string check;       ///< The check's name.
    Level level = Level::Ok; ///< How bad it is.
    std::string message;     ///< What was found. Never holds a secret.
    std::string consequence; ///< What a process would do with it; "" when nothing special.
};

/// Collects the findings of one run.
class Report {
public:
    /// The findings that follow belong to this check.
    void Begin(const std::string& check) { m_check = check; }

    void Ok(const std::string& message) { Add(Level::Ok, message, ""); }
    void Note(const std::string& message, const std::string& consequence = "") {
        Add(Level::Note, message, consequence);
    }
    void Warning(const std::string& message, const std::string& consequence = "") {
        Add(Level::Warning, message, consequence);
    }
    void Error(const std::string& message, const std::string& consequence = "") {
        Add(Level::Error, message, consequence);
    }

    /// EXIT_WELL, EXIT_WARNINGS or EXIT_ERRORS.
    int ExitCode() const;

    void WriteText(std::ostream& out) const;
    void WriteJson(std::ostream& out) const;

private:
    void Add(Level level, const std::string& message, const std::string& consequence);
    std::size_t Count(Level level) const;

    std::string m_check;
    std::vector<Finding> m_findings;
};
