// SPDX-License-Identifier: Apache-2.0
// TLS connections as the pool makes them.
#include <set>
#include <thread>
#include <vector>

#include <httpclient/HttpConnectionMgr.h>

#include "TlsTest.h"
#include "interpose/CurlRecorder.h"
#include "pool/HttpsConnection.h"
#include "setting/HeldPlatform.h"
#include "setting/OpenedFiles.h"

using namespace httpclient::testing;

namespace {

class Lending : public TlsTest {
protected:
    static CHttpConnection* Get() { return CHttpConnectionMgr::Instance()->GetConn("127.0.0.1", 443, true); }
    static void Return(CHttpConnection* connection) {
        CHttpConnectionMgr::Instance()->ReleaseConn(connection);
    }
};

} // namespace

TEST_F(Lending, MakesAConnectionOnTheCallersThreadWithThePoolLocked) {
    CHttpConnectionMgr* pool = CHttpConnectionMgr::Instance();
    HeldPlatform platform;
    int locked = 0;
    platform.OnDecryption([pool, &locked] {
        std::thread([pool, &locked] {
            if (pool->m_PoolLock.tryacquire_write() == 0) {
                pool->m_PoolLock.release();
            } else {
                ++locked;
            }
        }).join();
    });
    CHttpConnection* ofNewAddress = Get();
    EXPECT_EQ(locked, 1);
    CHttpConnection* ofKnownAddress = Get();
    EXPECT_EQ(locked, 2);
    EXPECT_EQ(pool->m_PoolLock.tryacquire_write(), 0); // it is free again
    pool->m_PoolLock.release();
    for (const HeldPlatform::Decryption& decryption : platform.Decryptions()) {
        EXPECT_EQ(decryption.thread, std::this_thread::get_id());
    }
    Return(ofNewAddress);
    Return(ofKnownAddress);
}

TEST_F(Lending, ReadsManifestAndPasswordOnceForEachConnectionThatItMakes) {
    const HeldPlatform platform;
    const OpenedFiles opened;
    CHttpConnection* first = Get();
    CHttpConnection* second = Get();
    EXPECT_NE(first, second);
    EXPECT_EQ(opened.Paths().size(), 2U);
    EXPECT_EQ(platform.Decryptions().size(), 2U);
    Return(second);
    Return(first);
    EXPECT_EQ(Get(), first);
    EXPECT_EQ(opened.Paths().size(), 2U);
    EXPECT_EQ(platform.Decryptions().size(), 2U);
    Return(first);
}

TEST_F(Lending, SetsNoOptionOfAConnectionThatItLendsAgain) {
    Return(Get());
    const CurlRecorder recorder;
    Return(Get());
    EXPECT_TRUE(recorder.Events().empty());
}

TEST_F(Lending, MakesAConnectionWhenEveryFileIsMissing) {
    const ScopedEnvironment root("SSL_ROOT", m_tls.root().path() + "/nowhere");
    CHttpConnection* connection = Get();
    ASSERT_NE(connection, nullptr);
    EXPECT_NE(dynamic_cast<CHttpsConnection*>(connection), nullptr);
    EXPECT_NE(connection->GetCurl(), nullptr);
    EXPECT_EQ(Logged().size(), 2U);
    Return(connection);
}

TEST_F(Lending, GivesEachOfManyThreadsAConnectionOfItsOwn) {
    constexpr std::size_t THREADS = 8;
    std::vector<CHttpConnection*> lent(THREADS);
    const HeldPlatform platform;
    CHttpConnectionMgr::Instance();
    const CurlRecorder recorder;
    std::vector<std::thread> threads;
    for (CHttpConnection*& connection : lent) {
        threads.emplace_back([&connection] { connection = Get(); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(std::set<CHttpConnection*>(lent.begin(), lent.end()).size(), THREADS);
    EXPECT_EQ(platform.Decryptions().size(), THREADS);
    EXPECT_EQ(recorder.Options().size(), 8 * THREADS);
    for (CHttpConnection* connection : lent) {
        ASSERT_NE(connection, nullptr);
        Return(connection);
    }
}
