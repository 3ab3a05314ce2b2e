// SPDX-License-Identifier: Apache-2.0
/// @file
/// What is compared.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Peer.h"

/// One kind of request, and how many send it.
struct Work {
    std::string name;  ///< For options and JSON.
    std::string title; ///< For people.
    Target target;
    int threads = 1;
    bool burst = false; ///< Each thread sends one request, all at once; else until the time is over.
};

/// Where the servers are.
struct Ports {
    std::uint16_t plain = 0;
    std::uint16_t closing = 0; ///< Closes the connection after each answer.
    std::uint16_t tls = 0;
    std::uint16_t closingTls = 0;
    std::uint16_t resumingTls = 0; ///< Closes, too, but gives tickets.
    std::uint16_t slow = 0;        ///< Answers after 50 ms.
};

/// @param client the targets' TLS files.
std::vector<Work> AllWorks(const Ports& ports, const Target& client);
std::vector<std::string> WorkNames();
