// SPDX-License-Identifier: Apache-2.0
#include "engine/Snapshot.h"

#include <algorithm>
#include <map>
#include <stdexcept>
#include <utility>

#include "engine/Engines.h"
#include "engine/Statistics.h"
#include "support/PoolLevels.h"

namespace httpclient {

namespace engine {

namespace {

using Body = EngineStatistics::Body;
using Labels = EngineStatistics::Labels;
using Origins = std::vector<std::shared_ptr<const OriginCounts>>;

double Seconds(std::chrono::nanoseconds time) {
    return std::chrono::duration<double>(time).count();
}

/// Puts samples together, name by name.
class Writer {
public:
    explicit Writer(Body& body) : m_body(body) {}

    void Begin(const char* name, const char* type, const char* help) {
        m_body.families.push_back({name, type, help, m_body.samples.size()});
    }
    void Add(Labels labels, double value, const char* ending = "") {
        m_body.samples.push_back(
            {m_body.families.back().name + std::string(ending), std::move(labels), value});
    }
    void Add(Labels labels, const Counter& counter) {
        Add(std::move(labels), static_cast<double>(counter.count()));
    }
    void Add(Labels labels, std::size_t count) { Add(std::move(labels), static_cast<double>(count)); }
    /// A counter that has counted nothing is left out: there may be many of them.
    void AddUnlessNothing(Labels labels, const Counter& counter) {
        if (counter.count() != 0) {
            Add(std::move(labels), counter);
        }
    }
    void AddHistogram(const Labels& labels, const Histogram& histogram) {
        std::uint64_t upTo = 0;
        for (std::size_t bucket = 0; bucket <= Histogram::BOUNDS.size(); ++bucket) {
            upTo += histogram.count(bucket);
            Labels withBound = labels;
            withBound.emplace_back("le", bucket < Histogram::BOUNDS.size()
                                             ? MetricsNumber(Seconds(Histogram::BOUNDS[bucket]))
                                             : "+Inf");
            Add(std::move(withBound), static_cast<double>(upTo), "_bucket");
        }
        Add(labels, Seconds(histogram.sum()), "_sum");
        Add(labels, static_cast<double>(upTo), "_count");
    }

private:
    Body& m_body;
};

void AddCalls(Writer& to, const Origins& origins) {
    to.Begin("httpclient_calls_total", "counter",
             "Calls that have ended, by outcome: status class or kind of failure.");
    for (const auto& counts : origins) {
        counts->ForEachRoute([&](const RouteCounts& route) {
            for (std::size_t index = 0; index < Ending::COUNT; ++index) {
                to.AddUnlessNothing({{"origin", counts->origin},
                                     {"method", httpclient::ToString(static_cast<Method>(route.method))},
                                     {"label", route.label},
                                     {"outcome", Ending(index).name()}},
                                    route.endings[index]);
            }
        });
    }
}

void AddTimes(Writer& to, const Origins& origins) {
    to.Begin("httpclient_call_duration_seconds", "histogram",
             "How long calls took, from the beginning to the outcome.");
    for (const auto& counts : origins) {
        to.AddHistogram({{"origin", counts->origin}}, counts->durations);
    }
    to.Begin("httpclient_lease_wait_seconds", "histogram",
             "How long calls waited for a connection or a place for one.");
    for (const auto& counts : origins) {
        to.AddHistogram({{"origin", counts->origin}}, counts->leases);
    }
}

/// Destinations of one origin together.
std::map<const OriginCounts*, PoolLevel> LevelsOf(Core* core) {
    std::map<const OriginCounts*, PoolLevel> sums;
    if (core == nullptr) {
        return sums;
    }
    for (const PoolLevel& level : core->pool().Levels()) {
        PoolLevel& sum = sums[level.counts.get()];
        sum.active += level.active;
        sum.idle += level.idle;
        sum.waiting += level.waiting;
    }
    return sums;
}

void AddLevels(Writer& to, const Origins& origins, Core* core) {
    std::map<const OriginCounts*, PoolLevel> levels = LevelsOf(core);
    to.Begin("httpclient_calls_waiting", "gauge", "Calls that wait for a connection now.");
    for (const auto& counts : origins) {
        to.Add({{"origin", counts->origin}}, levels[counts.get()].waiting);
    }
    to.Begin("httpclient_connections", "gauge",
             "Connections now: active ones, lent or being made, and idle ones.");
    for (const auto& counts : origins) {
        to.Add({{"origin", counts->origin}, {"state", "active"}}, levels[counts.get()].active);
        to.Add({{"origin", counts->origin}, {"state", "idle"}}, levels[counts.get()].idle);
    }
}

void AddConnections(Writer& to, const Origins& origins) {
    to.Begin("httpclient_connections_opened_total", "counter", "Connections that were made.");
    for (const auto& counts : origins) {
        to.Add({{"origin", counts->origin}}, counts->opened);
    }
    to.Begin("httpclient_connections_closed_total", "counter", "Connections that were closed, by reason.");
    for (const auto& counts : origins) {
        for (std::size_t reason = 0; reason < CLOSE_REASONS; ++reason) {
            to.Add({{"origin", counts->origin}, {"reason", ToString(static_cast<CloseReason>(reason))}},
                   counts->closed[reason]);
        }
    }
    to.Begin("httpclient_tls_handshakes_total", "counter", "TLS handshakes that have succeeded, by kind.");
    for (const auto& counts : origins) {
        to.AddUnlessNothing({{"origin", counts->origin}, {"resumed", "false"}}, counts->handshakes);
        to.AddUnlessNothing({{"origin", counts->origin}, {"resumed", "true"}}, counts->resumed);
    }
}

void AddTraffic(Writer& to, const Origins& origins) {
    to.Begin("httpclient_retries_total", "counter",
             "Requests that were sent again, by the outcome of the attempt before.");
    for (const auto& counts : origins) {
        for (std::size_t index = 0; index < Ending::COUNT; ++index) {
            to.AddUnlessNothing({{"origin", counts->origin}, {"reason", Ending(index).name()}},
                                counts->retries[index]);
        }
    }
    to.Begin("httpclient_bytes_total", "counter", "Bytes of requests and answers, heads included, TLS not.");
    for (const auto& counts : origins) {
        to.Add({{"origin", counts->origin}, {"direction", "sent"}}, counts->sent);
        to.Add({{"origin", counts->origin}, {"direction", "received"}}, counts->received);
    }
}

void AddProcess(Writer& to, const Statistics& counts) {
    to.Begin("httpclient_token_exchanges_total", "counter", "Exchanges of a service token, by outcome.");
    counts.ForEachService([&](const std::string& service, const Statistics::Exchanges& exchanges) {
        for (std::size_t index = 0; index < exchanges.size(); ++index) {
            to.AddUnlessNothing({{"service", service}, {"outcome", Statistics::NameOfExchange(index)}},
                                exchanges[index]);
        }
    });
    to.Begin("httpclient_host_errors_total", "counter",
             "What code of the host has thrown, by where it was called.");
    for (std::size_t index = 0; index < HOST_CODE_KINDS; ++index) {
        const auto where = static_cast<HostCodeKind>(index);
        to.Add({{"where", ToString(where)}}, static_cast<double>(counts.hostErrors(where)));
    }
}

/// The pool of CHttpClient, which is the process's.
void AddPool(Writer& to) {
    to.Begin("httpclient_pool_connections", "gauge",
             "Connections of the pool of CHttpClient now, by address.");
    for (const PooledAddress& address : ReadPool()) {
        const char* scheme = address.tls ? "https" : "http";
        to.Add({{"scheme", scheme}, {"address", address.address}, {"state", "lent"}}, address.lent);
        to.Add({{"scheme", scheme}, {"address", address.address}, {"state", "idle"}}, address.idle);
    }
    to.Begin("httpclient_pool_waiting", "gauge", "Sends of CHttpClient that wait for a connection now.");
    to.Add({}, static_cast<double>(PoolWait::waiting()));
    to.Begin("httpclient_pool_waits_total", "counter",
             "Sends of CHttpClient that had to wait for a connection.");
    to.Add({}, static_cast<double>(PoolWait::begun()));
}

} // namespace

} // namespace engine

std::unique_ptr<EngineStatistics::Body> EngineStatistics::Body::Of(const Engine::Body& engine) {
    auto body = std::make_unique<Body>();
    engine::Writer writer(*body);
    const std::shared_ptr<const engine::Statistics> counts = engine.Counts();
    const engine::Origins origins = counts->Origins();
    AddCalls(writer, origins);
    AddTimes(writer, origins);
    AddLevels(writer, origins, engine.inUse());
    AddConnections(writer, origins);
    AddTraffic(writer, origins);
    AddProcess(writer, *counts);
    engine::AddPool(writer);
    return body;
}

EngineStatistics::EngineStatistics(std::unique_ptr<Body> body) noexcept : m_body(std::move(body)) {}
EngineStatistics::EngineStatistics(const EngineStatistics& other)
    : m_body(other.m_body ? std::make_unique<Body>(*other.m_body) : nullptr) {}
EngineStatistics::EngineStatistics(EngineStatistics&& other) noexcept = default;
EngineStatistics& EngineStatistics::operator=(const EngineStatistics& other) {
    return *this = EngineStatistics(other);
}
EngineStatistics& EngineStatistics::operator=(EngineStatistics&& other) noexcept = default;
EngineStatistics::~EngineStatistics() = default;

namespace {

const EngineStatistics::Body::Sample& At(const std::unique_ptr<EngineStatistics::Body>& body,
                                         std::size_t index) {
    if (!body || index >= body->samples.size()) {
        throw std::out_of_range("httpclient::EngineStatistics: there is no such sample");
    }
    return body->samples[index];
}

} // namespace

std::size_t EngineStatistics::sampleCount() const noexcept {
    return m_body ? m_body->samples.size() : 0;
}

const std::string& EngineStatistics::name(std::size_t index) const& {
    return At(m_body, index).name;
}

const EngineStatistics::Labels& EngineStatistics::labels(std::size_t index) const& {
    return At(m_body, index).labels;
}

double EngineStatistics::value(std::size_t index) const {
    return At(m_body, index).value;
}

double EngineStatistics::sum(std::string_view name, const Labels& having) const {
    double sum = 0;
    for (std::size_t index = 0; index < sampleCount(); ++index) {
        const Body::Sample& sample = m_body->samples[index];
        const auto has = [&](const Labels::value_type& label) {
            return std::find(sample.labels.begin(), sample.labels.end(), label) != sample.labels.end();
        };
        if (sample.name == name && std::all_of(having.begin(), having.end(), has)) {
            sum += sample.value;
        }
    }
    return sum;
}

std::string EngineStatistics::text() const {
    return m_body ? engine::MetricsText(*m_body) : std::string();
}

} // namespace httpclient
