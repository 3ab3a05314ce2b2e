// SPDX-License-Identifier: Apache-2.0
/// @file
/// Holds the setters that the factories call: the executable's own definitions stand before the library's and
/// forward to them.
#pragma once

#include <functional>
#include <string>
#include <vector>

class CHttpClient;
class CHttpRequest;

/// While it lives, notes the calls of setters of requests and clients, and of the platform's maintenance
/// address, as "operation(argument, argument)". One at a time, on one thread.
class FactorySeam {
public:
    FactorySeam();
    ~FactorySeam();
    FactorySeam(const FactorySeam&) = delete;
    FactorySeam& operator=(const FactorySeam&) = delete;

    /// The calls, in order.
    const std::vector<std::string>& Calls() const { return m_calls; }
    /// From now on this call is noted and not made: @p action runs, and then std::runtime_error is thrown. At
    /// most one of the two arguments is not null: what the setter was called on.
    void ThrowAt(const std::string& call, std::function<void(CHttpRequest*, CHttpClient*)> action);

    /// @cond INTERNAL
    static void Note(const std::string& call, CHttpRequest* request, CHttpClient* client);
    /// @endcond

private:
    std::vector<std::string> m_calls;
    std::string m_throwAt;
    std::function<void(CHttpRequest*, CHttpClient*)> m_action;
};
