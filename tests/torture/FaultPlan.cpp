// SPDX-License-Identifier: Apache-2.0
#include "FaultPlan.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstring>

#include <dlfcn.h>
#include <link.h>
#include <unistd.h>

#include <httpclient/testing/Patience.h>

#include "FaultLedger.h"

namespace {

constexpr std::size_t KEPT_KINDS = 65536;

std::atomic<unsigned int> g_plan{0}; // the number of the plan under way
std::atomic<unsigned int> g_lastPlan{0};
std::atomic<std::size_t> g_asked{0};
std::atomic<std::size_t> g_failing{0};
std::array<std::atomic<Fault>, KEPT_KINDS> g_kinds{};
std::atomic<MemoryOf> g_memory{MemoryOf::Everybody};
std::atomic<Faults> g_about{RESOURCES};
std::atomic<unsigned> g_variant{0};
std::atomic<unsigned int> g_announced{0};     // threads that were started under the plan
std::array<std::atomic<int>, 16> g_threads{}; // and those of them that have begun

thread_local unsigned int t_plan = 0; // the number of the plan that this thread is counted under
thread_local int t_exempt = 0;

bool IsCounted() noexcept {
    return t_plan != 0 && t_exempt == 0 && t_plan == g_plan.load(std::memory_order_relaxed);
}

/// The blocks that were allocated under a plan: open addressing, one after the other, without holes.
class Blocks {
public:
    struct Entry {
        const void* block = nullptr;
        const void* caller = nullptr;
    };

    void Clear() noexcept {
        const Guard guard(m_lock);
        m_entries.fill({});
        m_count = 0;
    }
    void Add(const Entry& entry) noexcept {
        const Guard guard(m_lock);
        if (m_count > SIZE / 2) {
            return; // more than any scenario needs
        }
        std::size_t at = Home(entry.block);
        while (m_entries[at].block != nullptr) {
            at = (at + 1) % SIZE;
        }
        m_entries[at] = entry;
        ++m_count;
    }
    bool Remove(const void* block) noexcept {
        if (block == nullptr || m_count == 0) {
            return false;
        }
        const Guard guard(m_lock);
        std::size_t at = Home(block);
        while (m_entries[at].block != block) {
            if (m_entries[at].block == nullptr) {
                return false;
            }
            at = (at + 1) % SIZE;
        }
        --m_count;
        Close(at);
        return true;
    }
    std::size_t Count() const noexcept { return m_count; }
    /// The first entries. @return how many there are.
    std::size_t Copy(std::array<Entry, 16>& first) noexcept {
        const Guard guard(m_lock);
        std::size_t count = 0;
        for (const Entry& entry : m_entries) {
            if (entry.block != nullptr && count < first.size()) {
                first[count++] = entry;
            }
        }
        return count;
    }

private:
    static constexpr std::size_t SIZE = 1U << 16U;

    class Guard {
    public:
        explicit Guard(std::atomic_flag& lock) noexcept : m_lock(lock) {
            while (m_lock.test_and_set(std::memory_order_acquire)) {
            }
        }
        ~Guard() { m_lock.clear(std::memory_order_release); }
        Guard(const Guard&) = delete;
        Guard& operator=(const Guard&) = delete;

    private:
        std::atomic_flag& m_lock;
    };

    static std::size_t Home(const void* block) noexcept {
        return (reinterpret_cast<std::uintptr_t>(block) >> 4U) * 2654435761U % SIZE;
    }
    /// Moves later entries up into a hole, so that none is cut off from its home.
    void Close(std::size_t hole) noexcept {
        for (std::size_t at = (hole + 1) % SIZE; m_entries[at].block != nullptr; at = (at + 1) % SIZE) {
            const std::size_t wanted = Home(m_entries[at].block);
            if ((at - wanted) % SIZE < (at - hole) % SIZE) {
                continue;
            }
            m_entries[hole] = m_entries[at];
            hole = at;
        }
        m_entries[hole] = {};
    }

    std::atomic_flag m_lock = ATOMIC_FLAG_INIT;
    std::atomic<std::size_t> m_count{0};
    std::array<Entry, SIZE> m_entries{};
};

Blocks g_blocks;

/// Where a library's code lies.
class Code {
public:
    explicit Code(const char* library) : m_library(library) { dl_iterate_phdr(&Look, this); }
    bool Holds(const void* address) const noexcept {
        const auto at = reinterpret_cast<std::uintptr_t>(address);
        return m_begin <= at && at < m_end;
    }

private:
    static int Look(dl_phdr_info* info, std::size_t /*size*/, void* user) {
        auto& code = *static_cast<Code*>(user);
        if (std::strstr(info->dlpi_name, code.m_library) == nullptr) {
            return 0;
        }
        for (int i = 0; i < info->dlpi_phnum; ++i) {
            const auto& part = info->dlpi_phdr[i];
            if (part.p_type != PT_LOAD || (part.p_flags & PF_X) == 0) {
                continue;
            }
            code.m_begin = info->dlpi_addr + part.p_vaddr;
            code.m_end = code.m_begin + part.p_memsz;
        }
        return 1;
    }

    const char* m_library;
    std::uintptr_t m_begin = 0;
    std::uintptr_t m_end = 0;
};

const Code ACE_CODE("/libACE");
const Code CRYPTO_CODE("/libcrypto");
const Code SSL_CODE("/libssl");
const Code LOADER_CODE("/ld-linux");

} // namespace

namespace fault_ledger {

bool Refuses(Fault fault) noexcept {
    if (!IsCounted() || (g_about & Only(fault)) == 0) {
        return false;
    }
    const std::size_t number = ++g_asked;
    if (number <= KEPT_KINDS) {
        g_kinds[number - 1] = fault;
    }
    return number == g_failing;
}

unsigned Variant() noexcept {
    return g_variant;
}

bool RefusesMemory(const void* caller) noexcept {
    return !(g_memory == MemoryOf::AllButAce && ACE_CODE.Holds(caller)) && Refuses(Fault::Memory);
}

unsigned int Announce() noexcept {
    if (t_plan != 0) {
        ++g_announced;
    }
    return t_plan;
}

void Withdraw() noexcept {
    if (t_plan != 0) {
        --g_announced;
    }
}

void Join(unsigned int plan) noexcept {
    t_plan = plan;
    if (plan == 0) {
        return;
    }
    for (std::atomic<int>& slot : g_threads) {
        int none = 0;
        if (slot.compare_exchange_strong(none, gettid())) {
            return;
        }
    }
}

void NoteAllocated(const void* block, const void* caller) noexcept {
    const bool kept = CRYPTO_CODE.Holds(caller) || SSL_CODE.Holds(caller) || LOADER_CODE.Holds(caller);
    if (block != nullptr && IsCounted() && !kept) {
        g_blocks.Add({block, caller});
    }
}

bool NoteFreed(const void* block) noexcept {
    return g_blocks.Remove(block);
}

} // namespace fault_ledger

const char* NameOf(Fault fault) {
    static constexpr std::array<const char*, 10> NAMES{
        "memory",    "descriptor", "thread",  "curl handle",  "curl option",
        "curl list", "iconv_open", "network", "interruption", "OpenSSL"};
    return NAMES.at(static_cast<std::size_t>(fault));
}

FaultPlan::FaultPlan(std::size_t failing, MemoryOf memory) : FaultPlan(failing, RESOURCES, 0) {
    g_memory = memory;
}

FaultPlan::FaultPlan(std::size_t failing, Faults about, unsigned variant) {
    g_blocks.Clear();
    g_memory = MemoryOf::Everybody;
    g_about = about;
    g_variant = variant;
    g_announced = 0;
    for (std::atomic<int>& thread : g_threads) {
        thread = 0;
    }
    g_asked = 0;
    g_failing = failing;
    t_plan = ++g_lastPlan;
    g_plan = t_plan;
}

FaultPlan::~FaultPlan() {
    g_plan = 0;
    t_plan = 0;
}

void FaultPlan::Relent() const {
    g_failing = 0;
}

std::size_t FaultPlan::Count() const {
    return g_asked;
}

std::vector<Fault> FaultPlan::Kinds() const {
    const WithoutFaults exempt;
    std::vector<Fault> kinds(std::min(Count(), KEPT_KINDS));
    std::copy_n(g_kinds.begin(), kinds.size(), kinds.begin());
    return kinds;
}

bool FaultPlan::WaitForThreads() {
    const WithoutFaults exempt;
    const auto giveUp = std::chrono::steady_clock::now() + httpclient::testing::PATIENCE;
    const auto wait = [giveUp](const auto& done) {
        while (!done() && std::chrono::steady_clock::now() < giveUp) {
            usleep(200);
        }
        return done();
    };
    for (unsigned int i = 0; i < std::min<std::size_t>(g_announced, g_threads.size()); ++i) {
        const std::atomic<int>& thread = g_threads[i];
        if (!wait([&thread] { return thread != 0; })) {
            return false;
        }
        const std::string entry = "/proc/self/task/" + std::to_string(thread);
        if (!wait([&entry] { return access(entry.c_str(), F_OK) != 0; })) {
            return false;
        }
    }
    return true;
}

std::size_t FaultPlan::LiveBlocks() {
    return g_blocks.Count();
}

std::size_t FaultPlan::LiveBlocksOfAce() {
    std::array<Blocks::Entry, 16> first{};
    const std::size_t count = g_blocks.Copy(first);
    return static_cast<std::size_t>(
        std::count_if(first.begin(), first.begin() + static_cast<std::ptrdiff_t>(count),
                      [](const Blocks::Entry& entry) { return ACE_CODE.Holds(entry.caller); }));
}

std::string FaultPlan::DescribeLiveBlocks() {
    std::array<Blocks::Entry, 16> first{};
    const std::size_t count = g_blocks.Copy(first);
    std::string text;
    for (std::size_t i = 0; i < count; ++i) {
        Dl_info where{};
        text += "  allocated by ";
        if (dladdr(first[i].caller, &where) != 0 && where.dli_fname != nullptr) {
            const auto offset = reinterpret_cast<std::uintptr_t>(first[i].caller) -
                                reinterpret_cast<std::uintptr_t>(where.dli_fbase);
            text += std::string(where.dli_fname) + " + " + std::to_string(offset);
            if (where.dli_sname != nullptr) {
                text += std::string(" (") + where.dli_sname + ")";
            }
        }
        text += "\n";
    }
    return text;
}

WithoutFaults::WithoutFaults() {
    ++t_exempt;
}

WithoutFaults::~WithoutFaults() {
    --t_exempt;
}
