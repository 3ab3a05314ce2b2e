// SPDX-License-Identifier: Apache-2.0
#include "engine/Observation.h"

#include <stdexcept>
#include <utility>

#include "support/Cancellation.h"

namespace httpclient {

Observer::~Observer() = default;

CallView::CallView(Body& body) noexcept : m_body(body) {}

Method CallView::method() const noexcept {
    return m_body.method;
}

const std::string& CallView::origin() const noexcept {
    return *m_body.origin;
}

std::string_view CallView::target() const noexcept {
    return m_body.target;
}

const std::string& CallView::label() const noexcept {
    return *m_body.label;
}

int CallView::attempt() const noexcept {
    return m_body.attempt;
}

int CallView::status() const noexcept {
    return m_body.status;
}

const Failure* CallView::failure() const noexcept {
    return m_body.failure;
}

const Timings& CallView::timings() const noexcept {
    return *m_body.timings;
}

void CallView::addHeader(std::string name, std::string value) {
    if (m_body.fields == nullptr) {
        throw std::logic_error("httpclient::CallView::addHeader: at Start only");
    }
    m_body.fields->emplace_back(std::move(name), std::move(value));
}

void CallView::setContext(std::shared_ptr<void> context) noexcept {
    m_body.context = std::move(context);
}

const std::shared_ptr<void>& CallView::context() const noexcept {
    return m_body.context;
}

namespace engine {

void Tell(Core& core, Event event, CallView::Body& call) {
    const Core::HostCode amid(core);
    CallView view(call);
    if (!Contained([&] { core.observer()->OnEvent(event, view); })) {
        core.statistics().CountHostError(HostCodeKind::Observer);
    }
}

} // namespace engine

} // namespace httpclient
