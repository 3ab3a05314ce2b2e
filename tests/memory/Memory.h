// SPDX-License-Identifier: Apache-2.0
/// @file
/// The memory of another process, as a core dump has it.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include <sys/types.h>

/// What a process may write to, at one moment. It must stand still meanwhile.
class Memory {
public:
    /// @throw std::runtime_error when it cannot be read.
    explicit Memory(pid_t process);

    /// @return how often a secret stands there. Its middle is enough: what is given back has its begin overwritten.
    std::size_t Count(const std::string& secret) const;

private:
    std::vector<std::string> m_areas;
};
