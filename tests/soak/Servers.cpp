// SPDX-License-Identifier: Apache-2.0
#include "Servers.h"

#include <csignal>
#include <limits>
#include <stdexcept>
#include <utility>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace {

/// How long after a restart a request that was under way may still fail.
constexpr std::chrono::seconds AFTERMATH{3};

} // namespace

Servers::Servers(std::string address, std::string directory)
    : m_address(std::move(address)), m_directory(std::move(directory)) {
    Start();
}

Servers::~Servers() {
    Kill();
}

void Servers::Start() {
    int announced[2] = {-1, -1};
    if (pipe2(announced, O_CLOEXEC) != 0) {
        throw std::runtime_error("no pipe");
    }
    std::array<std::string, 4 + ServerKinds> words{"/proc/self/exe", "serve", m_address, m_directory};
    for (std::size_t i = 0; i < ServerKinds; ++i) {
        words[4 + i] = std::to_string(m_ports[i]);
    }
    std::array<char*, 5 + ServerKinds> arguments{};
    for (std::size_t i = 0; i < words.size(); ++i) {
        arguments[i] = words[i].data();
    }

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, announced[1], STDOUT_FILENO);
    const int failed = posix_spawn(&m_child, arguments[0], &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(announced[1]);
    // The whole array comes in one write, or the process ends and nothing comes.
    decltype(m_ports) ports{};
    const bool listening = failed == 0 && read(announced[0], ports.data(), sizeof ports) == sizeof ports;
    close(announced[0]);
    if (!listening) {
        throw std::runtime_error("the servers do not start");
    }
    if (ports != m_ports) { // only at the first start, before there is traffic that reads them
        m_ports = ports;
    }
    m_calmFrom = (Clock::now() + AFTERMATH).time_since_epoch().count();
}

void Servers::Kill() {
    m_calmFrom = std::numeric_limits<Clock::rep>::max();
    if (m_child > 0) {
        kill(m_child, SIGKILL);
        waitpid(m_child, nullptr, 0);
    }
    m_child = -1;
}

void Servers::Restart() {
    Kill();
    Start();
}

bool Servers::Disturbed() const {
    return Clock::now().time_since_epoch().count() < m_calmFrom;
}
