// SPDX-License-Identifier: Apache-2.0
/// @file
/// The verb matrix as hosts read it.
#pragma once

#include <cstddef>
#include <string>

#include <httpclient/testing/RecordedRequest.h>

/// What went over the wire, and what came of it.
struct Exchange {
    httpclient::testing::RecordedRequest sent;
    int result = 0;
    std::string received;
    double length = 0;
    std::size_t requests = 0;     ///< that the server has seen by now
    unsigned int connections = 0; ///< that the server has seen by now
};

/// Gathers exchanges into two tables in Markdown, one for plain connections and one for TLS.
class MatrixDocument {
public:
    /// Adds the second of two exchanges on one handle. The exchanges come row by row.
    void Add(bool bSSL, const std::string& first, const std::string& second, const Exchange& exchange);
    std::string Text() const;

private:
    struct Table {
        std::string head;
        std::string rows;
        std::string lastRow;
        bool headDone = false;
    };
    static std::string TextOf(const Table& table);

    Table m_plain;
    Table m_tls;
};
