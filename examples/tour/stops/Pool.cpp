// SPDX-License-Identifier: Apache-2.0
#include <vector>

#include <httpclient/HttpClient.h>
#include <httpclient/HttpConnectionMgr.h>
#include <httpclient/HttpRequest.h>

#include "tour/Stop.h"
#include "tour/Tour.h"

namespace tour {
namespace {

void ShowSharing(Tour& tour) {
    const auto request = NewRequest(HTTPOPERATION_GET, "/bytes/1");
    for (int count = 0; count < 3; ++count) {
        tour.SendUnseen(*tour.NewClient(), *request);
    }
    tour.ExpectNumber("three clients, one after the other, share one connection", 1, tour.Connections());
}

void ShowLimits(Tour& tour, CHttpConnectionMgr& pool) {
    tour.ExpectNumber("100 connections to an address are allowed", 100, pool.GetConnPoolSize());
    tour.ExpectNumber("and 30 addresses", 30, pool.GetConnAddrSize());
    pool.SetMaxConnPerAddr(50);
    pool.SetMaxConnAddr(5);
    tour.ExpectNumber("a lower limit is not taken", 100, pool.GetConnPoolSize());
    tour.ExpectNumber("neither for addresses", 30, pool.GetConnAddrSize());
    tour.NewClient()->resizeConnPool(101, 10);
    tour.ExpectNumber("a higher one is, from a client, too", 101, pool.GetConnPoolSize());
    tour.ExpectNumber("each of the two on its own", 30, pool.GetConnAddrSize());
}

void ShowLimitReached(Tour& tour, CHttpConnectionMgr& pool) {
    const std::string host = "127.0.0.1";
    const unsigned int port = 1; // nothing is sent there
    std::vector<CHttpConnection*> lent;
    while (CHttpConnection* const connection = pool.GetConn(host, port, false)) {
        lent.push_back(connection);
    }
    tour.ExpectNumber("an address has as many connections as the limit says", 101,
                      static_cast<double>(lent.size()));
    tour.Expect("then it has none to lend", pool.GetConn(host, port, false) == nullptr);
    tour.ExpectLogged(
        "[3] CHttpConnectionMgr::GetConn, no idle connection, and connections number reached the upper "
        "limit,maxconn is 101",
        tour.ShowLog());
    pool.ReleaseConn(lent[7]);
    tour.Expect("what is given back is lent again", pool.GetConn(host, port, false) == lent[7]);
    for (CHttpConnection* const connection : lent) {
        pool.ReleaseConn(connection);
    }
    tour.Expect("the oldest idle one first", pool.GetConn(host, port, false) == lent.front());
    pool.ReleaseConn(lent.front());
}

void ShowAddressLimit(Tour& tour, CHttpConnectionMgr& pool) {
    unsigned int port = 2; // with the server's address and the last one there are two already
    while (CHttpConnection* const connection = pool.GetConn("127.0.0.1", port, false)) {
        pool.ReleaseConn(connection);
        ++port;
    }
    tour.ExpectNumber("the 31st address gets no connection", 30, port);
}

void ShowPool(Tour& tour) {
    ShowSharing(tour);
    CHttpConnectionMgr& pool = *CHttpConnectionMgr::Instance();
    ShowLimits(tour, pool);
    ShowLimitReached(tour, pool);
    ShowAddressLimit(tour, pool);
}

const Stop POOL(120, "Clients share connections, within limits that can only be raised", ShowPool);

} // namespace
} // namespace tour
