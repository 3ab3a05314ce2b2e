// SPDX-License-Identifier: Apache-2.0
/// @file
/// Counts what a thread asks for, and names what to refuse.
#pragma once

#include <cstddef>

namespace httpclient::testing {

/// How many of the calls of a kind fail.
enum class Failing {
    One,    ///< The one that is named.
    AllFrom ///< The one that is named, and all that come after it.
};

/// Counts what one thread asks for while armed, and names what to refuse. Plain data, so that it can be
/// thread-local in functions that may not allocate.
struct Tally {
    bool armed = false;
    std::size_t asked = 0;
    std::size_t refused = 0; ///< The first to refuse, counted from 1; 0 for none.
    Failing howMany = Failing::One;

    void Arm(std::size_t refuse, Failing howManyFail = Failing::One) {
        asked = 0;
        refused = refuse;
        howMany = howManyFail;
        armed = true;
    }
    void Disarm() { armed = false; }
    /// Counts one. @return whether it is to be refused.
    bool Refuses() {
        if (!armed) {
            return false;
        }
        ++asked;
        return asked == refused || (howMany == Failing::AllFrom && refused != 0 && asked > refused);
    }
};

/// While it lives, counts what the thread which made it asks an allocator for, and can make that fail. One per thread
/// at a time.
template <class Allocator> class Counted {
public:
    /// @param failing which allocation fails, counted from 1; 0 for none.
    /// @param howMany whether it fails alone, or all that come after it, too.
    explicit Counted(std::size_t failing = 0, Failing howMany = Failing::One) {
        Allocator::OfThisThread().Arm(failing, howMany);
    }
    ~Counted() { Allocator::OfThisThread().Disarm(); }
    Counted(const Counted&) = delete;
    Counted& operator=(const Counted&) = delete;

    /// How many there were, those that failed included.
    std::size_t Count() const { return Allocator::OfThisThread().asked; }
};

} // namespace httpclient::testing
