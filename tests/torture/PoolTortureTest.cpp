// SPDX-License-Identifier: Apache-2.0
// The pool is made, lends and is finalized, with each of its fallible calls failing in turn.
#include <new>

#include <httpclient/HttpConnectionMgr.h>

#include "Requests.h"
#include "TortureTest.h"

using namespace httpclient::testing;

namespace {

class PoolTorture : public TortureTest {
protected:
    void Run() override {
        try {
            CHttpConnectionMgr* const pool = CHttpConnectionMgr::Instance();
            CHttpConnection* const conn = pool->GetConn("127.0.0.1", m_server.port(), false);
            ASSERT_NE(conn, nullptr);
            pool->ReleaseConn(conn);
        } catch (const std::bad_alloc&) { // the caller's to handle
        }
        CHttpConnectionMgr::Finalize();
    }
    void ExpectOutcome() override { EXPECT_EQ(CHttpConnectionMgr::m_pInstance, nullptr); }
    void ExpectNextToWork() override { ::ExpectNextToWork(m_server, false); }

private:
    LoopbackServer m_server{&AnswerAll};
};

class NewPoolTorture : public PoolTorture {
protected:
    NewPoolTorture() { m_memory = MemoryOf::AllButAce; } // which crashes as a pool begins
};

class OldPoolTorture : public PoolTorture {
protected:
    void Prepare() override { CHttpConnectionMgr::Instance(); }
};

} // namespace

TEST_F(NewPoolTorture, IsSurvived) {
    Torture();
}

TEST_F(OldPoolTorture, IsSurvived) {
    Torture();
}
