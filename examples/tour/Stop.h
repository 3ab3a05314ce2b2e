// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

namespace tour {

class Tour;

/// One promise of the library, shown and checked.
///
/// A file in stops/ makes one static object of it, which thereby joins the tour. Both are named after the file, since
/// several are compiled together:
/// @code
/// void ShowCookies(Tour& tour) { … }
/// const Stop COOKIES(40, "A cookie goes out as it is given", ShowCookies);
/// @endcode
class Stop {
public:
    /// @param place where in the tour: stops are visited in ascending order.
    /// @param promise what the reader may rely on, in plain words.
    Stop(int place, const char* promise, void (*show)(Tour&));
    Stop(const Stop&) = delete;
    Stop& operator=(const Stop&) = delete;

    const char* Promise() const { return m_promise; }
    void Show(Tour& tour) const { m_show(tour); }

    /// @return every stop of the program, in order.
    static std::vector<const Stop*> All();

private:
    int m_place;
    const char* m_promise;
    void (*m_show)(Tour&);
};

} // namespace tour
