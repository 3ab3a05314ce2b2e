// SPDX-License-Identifier: Apache-2.0
/// @file
/// Sound JSON gone bad.
#pragma once

#include <cstddef>
#include <random>
#include <string>

/// Damages JSON texts at random; the same seed gives the same damage.
class Mutator {
public:
    explicit Mutator(unsigned int seed) : m_random(seed) {}

    /// @return the text with one to four places damaged: bytes changed, dropped or doubled, or replaced by
    ///         pieces of JSON that do not belong there.
    std::string Mutate(std::string text);
    /// @return a number below the limit.
    std::size_t Below(std::size_t limit);

private:
    void MutateOnce(std::string& text);

    std::mt19937 m_random;
};
