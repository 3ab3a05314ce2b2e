// SPDX-License-Identifier: Apache-2.0
// Tries the library with servers of other makes and writes what became of it as a table.
#include <algorithm>
#include <chrono>
#include <exception>
#include <iostream>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Servers.h"
#include "Site.h"
#include "Trials.h"

namespace {

using namespace interop;

constexpr std::chrono::seconds IDLE{3}; // short enough to be waited for, long enough for a busy machine

/// A row of the table.
void Print(const std::vector<std::string>& cells) {
    for (const std::string& cell : cells) {
        std::cout << "| " << cell << " ";
    }
    std::cout << "|" << std::endl;
}

std::string Joined(const std::vector<std::string>& texts) {
    std::string joined;
    for (const std::string& text : texts) {
        joined += (joined.empty() ? "" : ", ") + text;
    }
    return joined;
}

/// Tries one way to speak to a server and prints its row. @return whether all was as it must be.
bool TryOver(Over over, std::uint16_t port, const ServerKind& kind, const Site& site,
             const std::string& version) {
    Target target;
    target.over = over;
    target.port = port;
    target.site = &site;
    target.closesByItself = kind.closesByItself;
    target.alerts = kind.alerts;
    target.idle = IDLE;
    std::vector<std::string> tried;
    std::vector<std::string> wrong;
    for (const Finding& finding : TryAll(target)) {
        tried.push_back(finding.trial);
        if (!finding.problem.empty()) {
            wrong.push_back(finding.trial + ": " + finding.problem);
        }
    }
    Print({kind.name, version, ToString(over), Joined(tried), wrong.empty() ? "right" : Joined(wrong)});
    return wrong.empty();
}

/// @return whether all was as it must be.
bool TryServer(const ServerKind& kind) {
    std::string version = InstalledVersion(kind.package);
    const Site site;
    std::optional<Server> behind;
    if (!kind.behind.empty()) {
        behind.emplace(KindOf(kind.behind), site, std::chrono::minutes(10));
    }
    const Server server(kind, site, IDLE, behind ? behind->plain() : std::uint16_t{0});
    bool right = TryOver(Over::Plain, server.plain(), kind, site, version);
    right &= TryOver(Over::Tls, server.tls(), kind, site, version);
    right &= TryOver(Over::MutualTls, server.mutual(), kind, site, version);
    return right;
}

bool Chosen(const std::string& name, const std::vector<std::string>& choice) {
    return choice.empty() || std::find(choice.begin(), choice.end(), name) != choice.end();
}

} // namespace

int main(int count, char** words) {
    const std::vector<std::string> choice(words + 1, words + count);
    Print({"server", "version", "over", "tried", "result"});
    Print({"---", "---", "---", "---", "---"});
    bool right = true;
    for (const ServerKind& kind : ServerKinds()) {
        if (!Chosen(kind.name, choice)) {
            continue;
        }
        try {
            right &= TryServer(kind);
        } catch (const std::exception& problem) {
            std::cerr << problem.what() << std::endl;
            Print({kind.name, "", "", "", "did not run"});
            right = false;
        }
    }
    return right ? 0 : 1;
}
