// SPDX-License-Identifier: Apache-2.0
// What hosts that were built against these classes rely on: the order of fields and of virtual operations.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>
#include <vector>

#include <ace/Task.h>
#include <gtest/gtest.h>

#include "PoolTest.h"
#include "pool/HttpConnection.h"
#include "pool/HttpsConnection.h"

namespace {

constexpr std::size_t NOT_VIRTUAL = SIZE_MAX;

/// The place of a member function in the virtual table: what the Itanium C++ ABI keeps in its pointer.
template <class Function> std::size_t Slot(Function member) {
    struct {
        std::uintptr_t pointer;
        std::ptrdiff_t adjustment;
    } bits{};
    static_assert(sizeof member == sizeof bits);
    std::memcpy(&bits, &member, sizeof bits);
    return bits.pointer % 2 == 1 ? (bits.pointer - 1) / sizeof(void*) : NOT_VIRTUAL;
}

/// The first entries of an object's virtual table.
std::vector<const void*> VirtualTable(const void* object, std::size_t slots) {
    const void* const* table = nullptr;
    std::memcpy(&table, object, sizeof table);
    return std::vector<const void*>(table, table + slots); // not of the two pointers
}

std::ptrdiff_t Offset(const void* object, const void* field) {
    return static_cast<const char*>(field) - static_cast<const char*>(object);
}

using Slots = std::vector<std::size_t>;
using Offsets = std::vector<std::ptrdiff_t>;

void ExpectAscending(const Offsets& offsets) {
    for (std::size_t i = 1; i < offsets.size(); ++i) {
        EXPECT_LT(offsets[i - 1], offsets[i]) << "field " << i;
    }
}

TEST(ConnectionLayout, HasNoVirtualOperationButTheDestructor) {
    static_assert(std::has_virtual_destructor_v<CHttpConnection>);
    using C = CHttpConnection;
    EXPECT_EQ((Slots{Slot(&C::GetCurl), Slot(&C::GetCurlM), Slot(&C::IsIdle), Slot(&C::SetIdle),
                     Slot(&C::GetFreeTime), Slot(&C::SetFreeTime), Slot(&C::GetFreeTimeDiff)}),
              Slots(7, NOT_VIRTUAL));
}

TEST(ConnectionLayout, KeepsItsFieldsInOrder) {
    static_assert(std::is_same_v<decltype(CHttpConnection::m_nPort), std::int32_t>);
    static_assert(std::is_same_v<decltype(CHttpConnection::m_nFreeTime), std::int64_t>);
    static_assert(std::is_same_v<decltype(CHttpConnection::m_bIdle), bool>);
    static_assert(sizeof(CHttpConnection::m_pCurl) == sizeof(CURL*));
    static_assert(sizeof(CHttpConnection::m_pCurlM) == sizeof(CURLM*));
    const CHttpConnection conn("host.example", 80);
    EXPECT_EQ(Offset(&conn, &conn.m_strAddress), sizeof(void*)) << "right after the virtual table's pointer";
    ExpectAscending({Offset(&conn, &conn.m_strAddress), Offset(&conn, &conn.m_nPort),
                     Offset(&conn, &conn.m_pCurl), Offset(&conn, &conn.m_pCurlM),
                     Offset(&conn, &conn.m_nFreeTime), Offset(&conn, &conn.m_bIdle)});
}

TEST(ConnectionLayout, OfTlsAddsNothing) {
    static_assert(std::is_base_of_v<CHttpConnection, CHttpsConnection>);
    static_assert(sizeof(CHttpsConnection) == sizeof(CHttpConnection));
    EXPECT_EQ(Slot(&CHttpsConnection::GetSslPath), NOT_VIRTUAL);
    EXPECT_EQ(Slot(&CHttpsConnection::GetCipherText), NOT_VIRTUAL);
}

class PoolLayout : public PoolTest {};

TEST_F(PoolLayout, KeepsItsFieldsInOrder) {
    using Mgr = CHttpConnectionMgr;
    static_assert(std::is_same_v<decltype(Mgr::m_PoolLock), ACE_RW_Thread_Mutex>);
    static_assert(std::is_same_v<decltype(Mgr::m_MaxConnNum), std::uint32_t>);
    static_assert(std::is_same_v<decltype(Mgr::m_MaxConnCategory), std::uint32_t>);
    static_assert(std::is_same_v<decltype(Mgr::m_releasedtime), std::int64_t>);
    static_assert(std::is_same_v<decltype(Mgr::m_pReactor), ACE_Reactor*>);
    static_assert(std::is_same_v<decltype(Mgr::m_HttpConnectionMgr_Mutex), ACE_Thread_Mutex>);
    static_assert(std::is_same_v<decltype(Mgr::m_pInstance), Mgr*>);
    EXPECT_EQ(Offset(&m_pool, &m_pool.m_PoolLock), sizeof(ACE_Task_Base)) << "right after the base";
    ExpectAscending({Offset(&m_pool, &m_pool.m_PoolLock), Offset(&m_pool, &m_pool.m_mapHttpConn),
                     Offset(&m_pool, &m_pool.m_mapHttpsConn), Offset(&m_pool, &m_pool.m_MaxConnNum),
                     Offset(&m_pool, &m_pool.m_MaxConnCategory), Offset(&m_pool, &m_pool.m_releasedtime),
                     Offset(&m_pool, &m_pool.m_pReactor)});
}

TEST_F(PoolLayout, KeepsItsVirtualOperationsInOrder) {
    using Mgr = CHttpConnectionMgr;
    static_assert(std::is_convertible_v<Mgr*, ACE_Task_Base*>, "a public base");
    const auto priority = static_cast<int (Mgr::*)() const>(&Mgr::priority);
    const auto setPriority = static_cast<void (Mgr::*)(int)>(&Mgr::priority);
    const auto reactor = static_cast<ACE_Reactor* (Mgr::*)() const>(&Mgr::reactor);
    const auto setReactor = static_cast<void (Mgr::*)(ACE_Reactor*)>(&Mgr::reactor);
    // The first two slots are the destructor's.
    EXPECT_EQ((Slots{Slot(&Mgr::get_handle),
                     Slot(&Mgr::set_handle),
                     Slot(priority),
                     Slot(setPriority),
                     Slot(&Mgr::handle_input),
                     Slot(&Mgr::handle_output),
                     Slot(&Mgr::handle_exception),
                     Slot(&Mgr::handle_timeout),
                     Slot(&Mgr::handle_exit),
                     Slot(&Mgr::handle_close),
                     Slot(&Mgr::handle_signal),
                     Slot(&Mgr::resume_handler),
                     Slot(&Mgr::handle_qos),
                     Slot(&Mgr::handle_group_qos),
                     Slot(setReactor),
                     Slot(reactor),
                     Slot(&Mgr::reactor_timer_interface),
                     Slot(&Mgr::add_reference),
                     Slot(&Mgr::remove_reference),
                     Slot(&Mgr::suspend),
                     Slot(&Mgr::resume),
                     Slot(&Mgr::open),
                     Slot(&Mgr::close),
                     Slot(&Mgr::module_closed),
                     Slot(&Mgr::put),
                     Slot(&Mgr::svc),
                     Slot(&Mgr::activate),
                     Slot(&Mgr::wait)}),
              (Slots{2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12, 13, 14, 15,
                     16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29}));
    EXPECT_EQ((Slots{Slot(&Mgr::init), Slot(&Mgr::fini), Slot(&Mgr::info)}), (Slots{2, 3, 4}))
        << "in the shared object's table";
    EXPECT_EQ((Slots{Slot(&Mgr::GetConn), Slot(&Mgr::GetConnList), Slot(&Mgr::ReleaseConn),
                     Slot(&Mgr::SetMaxConnPerAddr), Slot(&Mgr::SetMaxConnAddr), Slot(&Mgr::ResizeConnPool),
                     Slot(&Mgr::GetConnPoolSize), Slot(&Mgr::GetConnAddrSize), Slot(&Mgr::SetRlsTime),
                     Slot(&Mgr::Initialize), Slot(&Mgr::HandeConnPool)}),
              Slots(11, NOT_VIRTUAL));
}

TEST_F(PoolLayout, OverridesNothingOfAceButTheDestructorHandleTimeoutAndSvc) {
    constexpr std::size_t SLOTS = 30;
    const ACE_Task_Base plain;
    const auto own = VirtualTable(&m_pool, SLOTS + 1);
    const auto inherited = VirtualTable(&plain, SLOTS + 1);
    Slots overridden;
    for (std::size_t slot = 0; slot < SLOTS; ++slot) {
        if (own[slot] != inherited[slot]) {
            overridden.push_back(slot);
        }
    }
    EXPECT_EQ(overridden, (Slots{0, 1, 9, 27}));

    // Behind the last slot begins the table of the second base, with the way back to the object's beginning.
    const auto* shared = static_cast<const ACE_Shared_Object*>(&m_pool);
    EXPECT_EQ(reinterpret_cast<std::intptr_t>(own[SLOTS]), -Offset(&m_pool, shared));
    const auto ownShared = VirtualTable(shared, 5);
    const auto inheritedShared = VirtualTable(static_cast<const ACE_Shared_Object*>(&plain), 5);
    for (const std::size_t slot : {2, 3, 4}) {
        EXPECT_EQ(ownShared[slot], inheritedShared[slot]);
    }
}

} // namespace
