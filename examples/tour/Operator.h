// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace tour {

class Tour;

/// Does what an operator does before a process starts, with the operator's tool, ovex-tls: shows each
/// command, and puts the files where the stop may.
class Operator {
public:
    explicit Operator(Tour& tour);

    /// Makes a master key and a TLS root, both named to this process by its environment.
    void SetUpTls();
    /// Where the files of a server are whose certificate the TLS root trusts, and which trusts
    /// the root's own.
    std::string ServerDirectory() const;
    /// @return the same of a server that has nothing to do with the TLS root.
    std::string MakeForeignServer();

    /// Switches service identity on: what begins with this URL path belongs to this service. Has to come
    /// before the process's first client, which reads the configuration.
    /// @param address of the token service.
    void SetUpIdentity(const std::string& urlPath, const std::string& service, const std::string& credential,
                       const std::string& address);

private:
    void SetEnvironment(const std::string& name, const std::string& value);
    void Run(const std::string& command);
    void Write(const std::string& file, const std::string& text);

    Tour& m_tour;
};

} // namespace tour
