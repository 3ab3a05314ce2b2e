// SPDX-License-Identifier: Apache-2.0
/// @file
/// One reusable transfer context for one address.
#pragma once

#include <cstdint>
#include <string>

#include <httpclient/Export.h>

#include "support/CurlOwners.h"

/// An easy handle and a multi handle of libcurl, made for one address, with what the pool needs to lend them.
///
/// Lent out: not idle, free time 0. Idle: the free time is the moment of the last return. The easy handle
/// stays the same for the connection's life and keeps every option that a borrower set.
///
/// @par Thread Safety
/// No lock: idle flag and free time are the pool's, under its lock; the handles are the borrower's.
class HTTPCLIENT_EXPORT CHttpConnection {
public:
    /// Makes both handles. One that libcurl cannot make is null, and shows as a failure of
    /// the first transfer.
    CHttpConnection(std::string address, int port);
    virtual ~CHttpConnection();
    CHttpConnection(const CHttpConnection&) = delete;
    CHttpConnection& operator=(const CHttpConnection&) = delete;

    /// @return the easy handle; may be null.
    CURL* GetCurl() const;
    /// @return the multi handle; may be null.
    CURLM* GetCurlM() const;
    /// @return whether both handles are there.
    bool HasHandles() const;
    /// Takes the handles that are missing here from another connection, with the options set on them.
    void TakeMissingHandles(CHttpConnection& other);
    /// Closes both handles: of no use any more after a thread was ended amid a transfer. The pool makes
    /// them anew when it lends the connection.
    void DropHandles();
    /// @return whether the connection may be lent.
    bool IsIdle() const;
    void SetIdle(bool idle);
    /// @return when the connection was last given back, in seconds since the epoch; 0 while it is lent out.
    std::int64_t GetFreeTime() const;
    void SetFreeTime(std::int64_t freeTime);
    /// @return the seconds that have passed since the free time.
    std::int64_t GetFreeTimeDiff() const;

protected:
    /// Closes the easy handle; as if libcurl had not been able to make it.
    void DropCurl();

private:
    std::string m_strAddress;     ///< host only: no port, no scheme
    [[maybe_unused]] int m_nPort; ///< deliberately kept, though nothing asks for it
    CurlEasyPtr m_pCurl;
    CurlMultiPtr m_pCurlM;
    std::int64_t m_nFreeTime = 0;
    bool m_bIdle = false;
};
