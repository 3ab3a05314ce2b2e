// SPDX-License-Identifier: Apache-2.0
// How the pool of the process is made, with its thread, how a forked child leaves it, and how it ends.
#include <cstdint>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <utility>
#include <vector>

#include <pthread.h>

#include <ace/Dev_Poll_Reactor.h>
#include <ace/Guard_T.h>
#include <ace/High_Res_Timer.h>
#include <ace/Reactor.h>
#include <ace/Thread_Manager.h>
#include <ace/Timer_Queue.h>

#include <httpclient/HttpConnectionMgr.h>

#include "engine/SharedEngine.h"
#include "pool/HttpConnection.h"
#include "pool/PoolGuard.h"
#include "pool/PoolReading.h"
#include "pool/ReactorStay.h"
#include "support/Cancellation.h"
#include "support/ExitGate.h"
#include "support/Published.h"
#include "support/SignalBlock.h"
#include "support/Trace.h"

CHttpConnectionMgr* CHttpConnectionMgr::m_pInstance = nullptr;
ACE_Thread_Mutex CHttpConnectionMgr::m_HttpConnectionMgr_Mutex;

namespace {

/// What a host sets of the pool.
struct PoolSettings {
    std::uint32_t maxConnNum;
    std::uint32_t maxConnCategory;
    std::int64_t releasedTime;
};

/// What a forked child's pool has from its parent's; none: the defaults. Guarded by the mutex under which pools
/// are made and ended.
std::optional<PoolSettings> g_inheritedSettings;

/// The pool whose settings can be read; null before the first, and from the moment that one begins to end.
const CHttpConnectionMgr* g_readablePool = nullptr;
std::mutex g_readablePoolMutex; // its destruction does nothing: threads may outlive main()

/// Guards it. A thread that forks takes this, and may do so in a handler of a signal: it is held for a few
/// assignments, which no signal interrupts.
class ReadablePoolGuard {
    const SignalBlock m_block;
    const std::lock_guard<std::mutex> m_lock{g_readablePoolMutex};
};

void MakeReadable(const CHttpConnectionMgr* pool) {
    const ReadablePoolGuard guard;
    g_readablePool = pool;
}

/// Has the destruction of a mutex do nothing: threads may outlive main().
void KeepForEver(ACE_Thread_Mutex& mutex) {
    struct Kept : ACE_Thread_Mutex {
        static void Make(ACE_Thread_Mutex& of) { of.*(&Kept::removed_) = true; }
    };
    Kept::Make(mutex);
}

constexpr time_t FIRST_SWEEP_SECONDS = 1;
constexpr time_t SWEEP_INTERVAL_SECONDS = 20;
constexpr int WITHOUT_HANDLE_CLOSE = 1;

/// The thread of the pool; none where it could not be started. One does: pools are made one after the other.
std::optional<ACE_thread_t> g_thread;

/// Where the TLS connections of destroyed pools stay reachable. They are deliberately never closed: a worker
/// may still hold one, and leak checkers need not mind them.
std::vector<CHttpConnectionMgr::ConnMap>& g_abandoned = *new std::vector<CHttpConnectionMgr::ConnMap>;

void Abandon(CHttpConnectionMgr::ConnMap&& connections) noexcept {
    try {
        if (!connections.empty()) {
            g_abandoned.push_back(std::move(connections));
        }
    } catch (const std::bad_alloc&) {
        return; // then they stay open without being reachable
    }
}

} // namespace

CHttpConnectionMgr* CHttpConnectionMgr::Instance() {
    CHttpConnectionMgr* instance = LoadPublished(m_pInstance);
    return instance != nullptr ? instance : MakeInstance();
}

CHttpConnectionMgr* CHttpConnectionMgr::MakeInstance() {
    const CancellationBlock block;
    // A forked child leaves the pool to its parent. The lock is not waited for: who holds it, amid the making
    // or ending of a pool, may be waiting for the thread that forks. Settings are read before the fork: a child
    // may find the pool half ended.
    static thread_local bool held = false;
    static thread_local std::optional<PoolSettings> settings;
    // A child that is forked amid this does it anew. Its handlers may then run twice at each fork.
    static std::once_flag once;
    std::call_once(once, [] {
        KeepForEver(m_HttpConnectionMgr_Mutex);
        pthread_atfork(
            [] {
                if (!AmidPool::Is()) {
                    ReactorStay::AwaitEntry();
                }
                held = held || m_HttpConnectionMgr_Mutex.tryacquire() == 0;
                const ReadablePoolGuard guard;
                if (g_readablePool != nullptr) {
                    settings = {g_readablePool->m_MaxConnNum, g_readablePool->m_MaxConnCategory,
                                g_readablePool->m_releasedtime};
                }
            },
            [] {
                settings.reset();
                if (std::exchange(held, false)) {
                    m_HttpConnectionMgr_Mutex.release();
                }
            },
            [] {
                if (settings) {
                    g_inheritedSettings = std::exchange(settings, std::nullopt);
                }
                g_readablePool = nullptr;
                new (&g_readablePoolMutex) std::mutex; // as below
                Publish<CHttpConnectionMgr>(m_pInstance, nullptr);
                PoolWait::ForgetAll();
                if (std::exchange(held, false)) {
                    m_HttpConnectionMgr_Mutex.release();
                } else {
                    new (&m_HttpConnectionMgr_Mutex) ACE_Thread_Mutex; // its holder does not exist here
                    KeepForEver(m_HttpConnectionMgr_Mutex);
                }
            });
    });
    const AmidPool amid;
    const ACE_Guard<ACE_Thread_Mutex> guard(m_HttpConnectionMgr_Mutex);
    CHttpConnectionMgr* instance = LoadPublished(m_pInstance);
    if (instance == nullptr) {
        instance = new CHttpConnectionMgr;
        PublishPoolReader(&PoolReading::Take);
        if (g_inheritedSettings) {
            const PoolGuard pool(instance->m_PoolLock);
            instance->m_MaxConnNum = g_inheritedSettings->maxConnNum;
            instance->m_MaxConnCategory = g_inheritedSettings->maxConnCategory;
            instance->m_releasedtime = g_inheritedSettings->releasedTime;
        }
        MakeReadable(instance);
        Publish(m_pInstance, instance);
    }
    return instance;
}

CHttpConnectionMgr::CHttpConnectionMgr() : ACE_Task_Base(nullptr) {
    try {
        const int ret = Initialize();
        if (ret != 0) {
            Trace<LogMessage::PoolNotStarted>(ret);
        }
    } catch (...) {
        StopThread();
        delete m_pReactor;
        throw;
    }
}

int CHttpConnectionMgr::Initialize() {
    // A manager of the pool's own, so that the destructor waits for this thread and no other.
    thr_mgr(new ACE_Thread_Manager);
    if (m_pReactor == nullptr) {
        auto poll = std::make_unique<ACE_Dev_Poll_Reactor>();
        m_pReactor = new ACE_Reactor(poll.get(), true);
        static_cast<void>(poll.release()); // the reactor's
    }
    if (!ScheduleSweeps()) {
        Trace<LogMessage::PoolWithoutTimer>();
        return -1;
    }
    if (!ReactorStay::Prepare()) {
        return -1; // a host thread's first use, amid the end of the process
    }
    ExitGate::Prepare();
    // A signal that interrupts the reactor would make ACE print on standard error.
    const SignalBlock block;
    g_thread.reset(); // a forked child's parent may have one
    const int ret = activate();
    if (ret == 0) {
        ReactorStay::AwaitBeginning();
    } else {
        ReactorStay::LetGo();
    }
    return ret;
}

bool CHttpConnectionMgr::ScheduleSweeps() {
    // A reactor that could not open, for want of descriptors say, has neither timers nor a loop to reset.
    if (m_pReactor->initialized() == 0) {
        return false;
    }
    // Monotonic, so that changes of the system time leave the period alone.
    m_pReactor->timer_queue()->gettimeofday(&ACE_High_Res_Timer::gettimeofday_hr);
    m_pReactor->reset_reactor_event_loop();
    // Or a wait that SIGSTOP and SIGCONT interrupt, which nothing can block, would make ACE print on standard error.
    m_pReactor->restart(1);
    if (m_pReactor->schedule_timer(this, nullptr, ACE_Time_Value(FIRST_SWEEP_SECONDS),
                                   ACE_Time_Value(SWEEP_INTERVAL_SECONDS)) != -1) {
        return true;
    }
    m_pReactor->cancel_timer(this, WITHOUT_HANDLE_CLOSE);
    return false;
}

int CHttpConnectionMgr::svc() {
    const AmidPool amid;
    g_thread = ACE_OS::thr_self();
    {
        const ReactorStay::WayIn wayIn; // before all that may ask for the pool, which is still being made
        Trace<LogMessage::PoolThreadBegin>(); // the trailing blank belongs to the text
    }
    {
        const ReactorStay stay(*m_pReactor);
        m_pReactor->owner(ACE_OS::thr_self());
        while (m_pReactor->reactor_event_loop_done() == 0) {
            m_pReactor->run_reactor_event_loop();
        }
    }
    Trace<LogMessage::PoolThreadEnd>();
    return 0;
}

void CHttpConnectionMgr::StopThread() {
    ReactorStay::LetGo();
    if (m_pReactor != nullptr && m_pReactor->initialized() != 0) {
        m_pReactor->end_reactor_event_loop();
        m_pReactor->cancel_timer(this, WITHOUT_HANDLE_CLOSE);
    }
    if (ACE_Thread_Manager* manager = thr_mgr()) {
        // The manager's own wait, which it does as it is deleted, too, crashes where there is no memory. Joining takes none.
        manager->wait_on_exit(0);
        if (g_thread) {
            manager->join(*std::exchange(g_thread, std::nullopt));
        }
        delete manager;
        thr_mgr(nullptr);
    }
}

CHttpConnectionMgr::~CHttpConnectionMgr() {
    StopThread(); // first, so that no sweep runs during what follows
    const PoolGuard guard(m_PoolLock);
    for (auto& [addr, list] : m_mapHttpConn) {
        for (CHttpConnection* conn : *list) {
            delete conn;
        }
        delete list;
    }
    m_mapHttpConn.clear();
    delete m_pReactor;
    m_pReactor = nullptr;
    Abandon(std::move(m_mapHttpsConn)); // deliberately not deleted
}

void CHttpConnectionMgr::Finalize() {
    if (AmidPool::Is()) {
        return; // called by the log or the cipher, or because they have ended the process: it would wait for itself
    }
    const CancellationBlock block; // closes connections and waits, in destructors
    {
        const AmidPool amid;
        const ACE_Guard<ACE_Thread_Mutex> guard(m_HttpConnectionMgr_Mutex);
        MakeReadable(nullptr);
        // Unpublished last: what its own thread still calls while it ends, the host's log say, may ask for the pool.
        delete LoadPublished(m_pInstance);
        Publish<CHttpConnectionMgr>(m_pInstance, nullptr);
        g_inheritedSettings.reset();
    }
    httpclient::engine::EndSharedEngine();
}
