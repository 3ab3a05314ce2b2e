// SPDX-License-Identifier: Apache-2.0
#include "engine/CallTraffic.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <utility>

#include <httpclient/testing/Patience.h>

#include "engine/FaultyServer.h"

using namespace httpclient;
using namespace std::chrono_literals;

namespace {

constexpr std::size_t MOST_SURPRISES = 20;
constexpr std::chrono::milliseconds DEAF_FOR{300};
constexpr std::size_t CANCELLED_LATER = 8; ///< a call is cancelled when so many others are to be
constexpr std::uint64_t UPLOAD = 512UL * 1024;

bool Echoes(const Result& outcome, const std::string& target) {
    return outcome && outcome->status() == 200 && outcome->body() == target;
}

template <FailureKind KIND> bool Fails(const Result& outcome, const std::string& /*target*/) {
    return !outcome && outcome.failure().kind() == KIND;
}

bool IsCancelled(const Result& outcome, const std::string& target) {
    return Echoes(outcome, target) || Fails<FailureKind::Cancelled>(outcome, target);
}

Request Get(const std::string& target) {
    return {Method::Get, target};
}

Request GetDeaf(const std::string& target) {
    return Get(target).timeout(DEAF_FOR);
}

Request Post(const std::string& target) {
    return Request(Method::Post, target).body(std::string(20'000, 'p'), "text/plain");
}

/// A body that is made as it goes.
Request PostSource(const std::string& target) {
    return Request(Method::Post, target)
        .bodySource(
            [] {
                return [left = UPLOAD](char* to, std::size_t room) mutable {
                    const std::size_t piece = std::min<std::uint64_t>(left, room);
                    std::memset(to, 'u', piece);
                    left -= piece;
                    return static_cast<std::ptrdiff_t>(piece);
                };
            },
            UPLOAD);
}

Request GetSink(const std::string& target) {
    return Get(target).bodySink(
        [left = BIG](std::string_view piece) mutable { return (left -= piece.size()) <= BIG; });
}

/// With a time-out for a busy machine.
ClientOptions OptionsFor(const std::string& origin) {
    return ClientOptions(origin).timeout(60s).connectTimeout(10s).retry(
        RetryPolicy().attempts(3).pauses(1ms, 20ms).budget(1));
}

/// An origin where nobody listens: its port is taken by a client's own end.
constexpr const char* NOBODY = "http://127.0.0.1:1";

} // namespace

/// One in a hundred calls, or more.
struct CallTraffic::Kind {
    const char* path; ///< with a number behind it
    unsigned share;   ///< of a hundred
    Request (*make)(const std::string& target);
    bool (*asItShould)(const Result& outcome, const std::string& target);
    enum class Special { None, Slow, Cancelled, Nobody } special = Special::None;
};

const std::vector<CallTraffic::Kind>& CallTraffic::Kinds() {
    using Special = Kind::Special;
    const auto whole = [](const Result& outcome, const std::string&) {
        return outcome && outcome->body() == std::string(BIG, 'b');
    };
    const auto sunk = [](const Result& outcome, const std::string&) {
        return outcome && outcome->body().empty();
    };
    const auto dripped = [](const Result& outcome, const std::string&) {
        return outcome && outcome->body() == "xxxxxxxxxx";
    };
    const auto early = [](const Result& outcome, const std::string&) {
        return outcome && outcome->status() == 413;
    };
    const auto retried = [](const Result& outcome, const std::string& target) {
        return Echoes(outcome, target) || (outcome && outcome->status() == 503 && outcome->attempts() <= 3);
    };
    static const std::vector<Kind> kinds{
        {"/slow/", 50, &Get, &Echoes, Special::Slow},
        {"/echo/", 22, &Get, &Echoes},
        {"/echo/post/", 5, &Post, &Echoes},
        {"/echo/source/", 2, &PostSource, &Echoes},
        {"/big/", 1, &Get, whole},
        {"/big/sink/", 1, &GetSink, sunk},
        {"/drip/", 5, &Get, dripped},
        {"/busy/", 4, &Get, retried},
        {"/close/", 1, &Get, &Echoes},
        {"/early/", 1, &PostSource, early},
        {"/short/", 1, &Post, &Fails<FailureKind::ConnectionLost>},
        {"/torn/", 1, &Post, &Fails<FailureKind::ConnectionLost>},
        {"/reset/", 1, &Post, &Fails<FailureKind::ConnectionLost>},
        {"/reset/get/", 1, &Get, &Fails<FailureKind::ConnectionLost>},
        {"/deaf/", 1, &GetDeaf, &Fails<FailureKind::Timeout>},
        {"/slow/", 2, &Get, &IsCancelled, Special::Cancelled},
        {"/nobody/", 1, &Get, &Fails<FailureKind::Connect>, Special::Nobody},
    };
    return kinds;
}

/// One call.
struct CallTraffic::One {
    CallTraffic& traffic;
    std::size_t kind;
    std::string target;
    std::chrono::steady_clock::time_point begun = std::chrono::steady_clock::now();
    std::atomic<int> outcomes{0};

    One(CallTraffic& of, std::size_t itsKind, std::string itsTarget)
        : traffic(of), kind(itsKind), target(std::move(itsTarget)) {}
    ~One() { traffic.m_counts.lost += outcomes == 0 ? 1 : 0; }
    One(const One&) = delete;
    One& operator=(const One&) = delete;
};

/// What a call is started with. It is counted whether it is called, and how often.
class CallTraffic::Done {
public:
    explicit Done(std::unique_ptr<One> one) : m_one(std::move(one)) {}
    void operator()(const Result& outcome) {
        if (m_one->outcomes++ > 0) {
            ++m_one->traffic.m_counts.again;
            return;
        }
        m_one->traffic.End(*m_one, outcome);
    }

private:
    std::unique_ptr<One> m_one;
};

CallTraffic::CallTraffic(const FaultyServer& server, std::size_t inFlight)
    : m_server(server),
      m_engine(EngineOptions().maxConnections(inFlight, inFlight).idleTimeout(2s).maxAge(20s).loops(2)),
      m_client(OptionsFor(server.origin()), m_engine), m_nobody(ClientOptions(NOBODY), m_engine),
      m_ofKind(Kinds().size()) {
    for (std::size_t number = 0; number < inFlight; ++number) {
        StartOne();
    }
}

CallTraffic::~CallTraffic() {
    Stop();
}

bool CallTraffic::Stop() {
    m_stop = true;
    std::unique_lock<std::mutex> lock(m_lock);
    return m_changed.wait_for(lock, 2 * httpclient::testing::PATIENCE, [this] { return m_underWay == 0; });
}

std::vector<std::string> CallTraffic::surprises() const {
    const std::lock_guard<std::mutex> lock(m_lock);
    return m_surprises;
}

std::string CallTraffic::DescribeKinds() const {
    std::string text;
    for (std::size_t kind = 0; kind < m_ofKind.size(); ++kind) {
        const bool cancelled = Kinds()[kind].special == Kind::Special::Cancelled;
        text += std::string(Kinds()[kind].path) + (cancelled ? " cancelled" : "") + ": " +
                std::to_string(m_ofKind[kind]) + "\n";
    }
    return text;
}

void CallTraffic::StartOne() {
    using Special = Kind::Special;
    std::size_t kind = 0;
    std::string target;
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        ++m_underWay;
        auto dice = static_cast<unsigned>(m_random() % 100);
        while (dice >= Kinds()[kind].share) {
            dice -= Kinds()[kind++].share;
        }
        const bool slow =
            Kinds()[kind].special == Special::Slow || Kinds()[kind].special == Special::Cancelled;
        target = Kinds()[kind].path + std::to_string(slow ? 500 + m_random() % 3500 : m_random());
    }
    ++m_counts.started;
    const Special special = Kinds()[kind].special;
    Request request = Kinds()[kind].make(target);
    const Client& client = special == Special::Nobody ? m_nobody : m_client;
    Call call = client.Start(std::move(request), Done(std::make_unique<One>(*this, kind, target)));
    if (special == Special::Cancelled) {
        const std::lock_guard<std::mutex> lock(m_lock);
        m_toCancel.push_back(std::move(call));
    }
}

void CallTraffic::CancelOne() {
    std::optional<Call> call;
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        if (m_toCancel.size() < CANCELLED_LATER) {
            return;
        }
        call.emplace(std::move(m_toCancel.front()));
        m_toCancel.pop_front();
    }
    call->Cancel();
}

void CallTraffic::End(const One& one, const Result& outcome) {
    const Kind& kind = Kinds()[one.kind];
    const bool disturbed = m_server.Disturbed();
    ++m_ofKind[one.kind];
    if (kind.asItShould(outcome, one.target)) {
        ++(outcome ? m_counts.answered : m_counts.provoked);
    } else if (disturbed && !outcome) {
        ++m_counts.disturbed;
    } else {
        ++m_counts.unexpected;
        const std::lock_guard<std::mutex> lock(m_lock);
        if (m_surprises.size() < MOST_SURPRISES) {
            m_surprises.push_back(
                one.target + ": " +
                (outcome ? std::to_string(outcome->status()) : outcome.failure().message()));
        }
    }
    if (!outcome && outcome.failure().kind() == FailureKind::Timeout && kind.make == &GetDeaf) {
        const auto took = std::chrono::steady_clock::now() - one.begun;
        const auto late = std::chrono::duration_cast<std::chrono::milliseconds>(took - DEAF_FOR).count();
        std::int64_t latest = m_counts.latest;
        while (late > latest && !m_counts.latest.compare_exchange_weak(latest, late)) {
        }
    }
    CancelOne();
    if (!m_stop) {
        StartOne();
    }
    const std::lock_guard<std::mutex> lock(m_lock);
    --m_underWay;
    m_changed.notify_all();
}
