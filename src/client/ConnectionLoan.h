// SPDX-License-Identifier: Apache-2.0
/// @file
/// How both ways of sending borrow a connection of the pool, and give it back.
#pragma once

#include <string>

#include "support/Messages.h"

class CHttpConnection;

/// Asks the pool for a connection, up to 100 times, 3 s apart; the last failure is followed by its 3 s, too.
/// @param failureMessage logged after each failed try.
/// @return null when all tries failed.
CHttpConnection* WaitForConnection(const std::string& domain, int port, bool bSSL, LogMessage failureMessage);

/// Gives a borrowed connection back when it goes out of scope.
class ConnectionReturn {
public:
    explicit ConnectionReturn(CHttpConnection* conn) : m_pConn(conn) {}
    ~ConnectionReturn();
    ConnectionReturn(const ConnectionReturn&) = delete;
    ConnectionReturn& operator=(const ConnectionReturn&) = delete;

    CHttpConnection* get() const { return m_pConn; }
    CHttpConnection* release();
    /// Gives the connection back now.
    void GiveBack();

private:
    CHttpConnection* m_pConn;
};
