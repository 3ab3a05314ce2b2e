// SPDX-License-Identifier: Apache-2.0
/// @file
/// What is compared.
#pragma once

#include <string>
#include <vector>

#include "Peer.h"

class Nginx;

struct Work {
    std::string name;  ///< For options and JSON.
    std::string title; ///< For people.
    Target target;
    int threads = 1;
    bool burst =
        false; ///< Each thread sends one request, all at once; else each sends until the time is over.
};

/// @param slowPort of a server that answers after 50 ms.
/// @param client the targets' TLS files.
std::vector<Work> AllWorks(const Nginx& server, std::uint16_t slowPort, const Target& client);
