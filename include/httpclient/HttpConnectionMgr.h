// SPDX-License-Identifier: Apache-2.0
/// @file
/// The process-wide pool of connections.
#pragma once

#include <cstdint>
#include <list>
#include <map>
#include <string>

#include <ace/RW_Thread_Mutex.h>
#include <ace/Task.h>
#include <ace/Thread_Mutex.h>

#include <httpclient/Export.h>

class ACE_Reactor;
class CHttpConnection;
class PoolReading;

/// Lends connections per address and closes those that stay idle.
///
/// An address is a host with its port; plain and TLS connections to it are kept apart. Two limits hold: 100
/// connections per address, and 30 addresses each for plain and TLS. The limits can be raised, never lowered.
/// A thread of the pool's own closes, every 20 s, connections that have been idle for the release time (30 s)
/// or longer.
///
/// @par Ownership
/// Owns every connection. A borrower gives each back exactly once with ReleaseConn() and never deletes it.
///
/// @par Thread Safety
/// Every operation may be called from any thread, except Finalize(): the host calls it when no other thread
/// uses the library and no asynchronous send is under way.
///
/// @par Forks
/// A forked child has none of the pool's threads and shares the sockets of its connections, so it leaves the
/// pool alone and makes one of its own when it first needs it, with the limits and the release time that its
/// parent had set. No other thread may be amid a call into the library when the process forks.
///
/// @par Performance
/// One lock. Lending a pooled connection is a map look-up and a walk over the address's connections; making a
/// TLS connection reads and decrypts its key password under that lock.
class HTTPCLIENT_EXPORT CHttpConnectionMgr : public ACE_Task_Base {
public:
    /// The connections of one address, oldest first.
    using ConnList = std::list<CHttpConnection*>;
    /// Address ("host:port") to its connections.
    using ConnMap = std::map<std::string, ConnList*>;

    /// @return the pool, made on the first call (and on the first after Finalize()).
    static CHttpConnectionMgr* Instance();
    /// Stops the pool's thread and destroys the pool. Plain connections are closed. TLS connections are left
    /// alone on purpose, so that a worker that still holds one stays safe.
    ///
    /// Not for a callback, nor while another thread uses the pool: a plain connection that is lent out would
    /// be closed under its borrower. The host stops its own sends first. Where the log or the cipher has been called
    /// amid the pool, it does nothing: a handler of exit() may call it though they have called exit().
    ///
    /// Shuts the engine of httpclient::Client down, too (httpclient::Engine::Shared()), where there is one; its
    /// next use starts another.
    static void Finalize();

    /// Lends a connection; the oldest idle one of the address if there is one.
    /// @param domain host name or address.
    /// @param port the port, written into the address as a signed number.
    /// @param bSSL true: a TLS connection.
    /// @return the connection, the caller's own until ReleaseConn(); null when the host is empty or a limit
    ///         is reached. Does not wait.
    CHttpConnection* GetConn(const std::string& domain, unsigned int port, bool bSSL);
    /// Takes a connection back.
    /// @param conn what GetConn() gave; must not be null.
    void ReleaseConn(CHttpConnection* conn);

    /// Raises the limit of connections per address, and that per origin of the shared httpclient::Engine; a lower
    /// value is ignored.
    void SetMaxConnPerAddr(unsigned int maxConnNum);
    /// Raises the limit of addresses (plain and TLS each); a lower value is ignored.
    void SetMaxConnAddr(unsigned int maxConnCategory);
    /// Raises both limits, each on its own, and the limit per origin of the shared httpclient::Engine; lower values
    /// are ignored.
    void ResizeConnPool(unsigned int maxConnNum, unsigned int maxConnCategory);
    /// @return the limit of connections per address (not a count).
    unsigned int GetConnPoolSize();
    /// @return the limit of addresses (not a count).
    unsigned int GetConnAddrSize();
    /// Sets how long, in seconds, a connection may stay idle, one of the shared httpclient::Engine, too. 0 or less:
    /// every idle one is closed at the next sweep.
    void SetRlsTime(std::int64_t seconds);

    /// @cond INTERNAL
    /// The list of an address key in the map that bSSL chooses; null when there is none. The caller holds the
    /// pool lock.
    ConnList* GetConnList(const std::string& addr, bool bSSL);
    int Initialize();
    int svc() override;
    int handle_timeout(const ACE_Time_Value& now, const void* arg) override;
    void HandeConnPool(ConnMap& connPool) const;
    ~CHttpConnectionMgr() override;
    CHttpConnectionMgr(const CHttpConnectionMgr&) = delete;
    CHttpConnectionMgr& operator=(const CHttpConnectionMgr&) = delete;
    /// @endcond

private:
    friend class PoolReading;
    CHttpConnectionMgr();
    static CHttpConnectionMgr* MakeInstance();
    CHttpConnection* GetConnOfNewAddress(const std::string& addr, const std::string& domain,
                                         unsigned int port, bool bSSL);
    bool ScheduleSweeps();
    void StopThread();

    ACE_RW_Thread_Mutex m_PoolLock;
    ConnMap m_mapHttpConn;
    ConnMap m_mapHttpsConn;
    std::uint32_t m_MaxConnNum = 100;
    std::uint32_t m_MaxConnCategory = 30;
    std::int64_t m_releasedtime = 30;
    ACE_Reactor* m_pReactor = nullptr;

    static CHttpConnectionMgr* m_pInstance;
    static ACE_Thread_Mutex m_HttpConnectionMgr_Mutex;
};
