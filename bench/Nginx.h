// SPDX-License-Identifier: Apache-2.0
/// @file
/// A web server to measure against.
#pragma once

#include <cstdint>
#include <string>

#include <sys/types.h>

/// nginx on a free loopback port, with one worker; stopped when it goes out of scope.
/// GET /128 answers 128 bytes, GET /1m answers 1 MiB, POST /sink takes a body and answers 128 bytes.
class Nginx {
public:
    /// @throw std::runtime_error when it does not come up.
    Nginx();
    ~Nginx();
    Nginx(const Nginx&) = delete;
    Nginx& operator=(const Nginx&) = delete;

    std::uint16_t Port() const { return m_port; }

private:
    void WriteFiles() const;
    void Start();
    bool Answers() const;

    std::string m_directory;
    std::uint16_t m_port;
    pid_t m_process = -1;
};
