// SPDX-License-Identifier: Apache-2.0
/// @file
/// The C++ memory of the process, watched: what is given back, and what is kept. Link httpclient_interpose_blocks.
#pragma once

#include <cstddef>
#include <initializer_list>

namespace httpclient::testing {

/// While it lives, looks for texts in every block that operator delete gets back, on whatever thread. One at
/// a time.
class FreedBlocks {
public:
    /// @param texts looked for, four at the most; have to live as long.
    FreedBlocks(std::initializer_list<const char*> texts);
    ~FreedBlocks();
    FreedBlocks(const FreedBlocks&) = delete;
    FreedBlocks& operator=(const FreedBlocks&) = delete;
    /// @return how many there were.
    int Count() const;
    /// @return how many of them held a text's first characters: a part is a leak as well.
    int Holding() const;
};

/// While it lives, operator new has no memory for large blocks that this thread asks for. One at a time.
class RefusedBlocks {
public:
    /// @param size the smallest that is refused.
    explicit RefusedBlocks(std::size_t size);
    ~RefusedBlocks();
    RefusedBlocks(const RefusedBlocks&) = delete;
    RefusedBlocks& operator=(const RefusedBlocks&) = delete;
};

/// Notes the blocks that this thread gets from operator new, until they are given back. One at a time.
class LiveBlocks {
public:
    LiveBlocks();
    ~LiveBlocks();
    LiveBlocks(const LiveBlocks&) = delete;
    LiveBlocks& operator=(const LiveBlocks&) = delete;
    /// Notes no more blocks; those that it has are still forgotten when they are given back.
    void Stop();
    /// @return how many there are.
    std::size_t Count() const;
    /// @return how many of them hold a text's first characters.
    std::size_t Holding(const char* text) const;
};

} // namespace httpclient::testing
