// SPDX-License-Identifier: Apache-2.0
/// @file
/// A listener whose backlog is full: who connects waits.
#pragma once

#include <string>
#include <vector>

class DeafListener {
public:
    DeafListener();
    ~DeafListener();
    DeafListener(const DeafListener&) = delete;
    DeafListener& operator=(const DeafListener&) = delete;

    std::string origin() const { return "http://127.0.0.1:" + std::to_string(m_port); }
    unsigned short port() const { return m_port; }

private:
    int m_listener = -1;
    unsigned short m_port = 0;
    std::vector<int> m_filling;
};
