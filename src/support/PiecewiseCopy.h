// SPDX-License-Identifier: Apache-2.0
/// @file
/// Copies of bodies.
///
/// From 2 KiB (on processors that call that fast; 8 KiB on others) up to about a megabyte the C library
/// copies with the processor's string instruction, "rep movsb". On some virtual machines that moves a byte
/// per nanosecond, seventy times slower than the vector instructions that it takes for shorter pieces: 19 us
/// instead of 0.3 us for 16 KiB.
#pragma once

#include <cstddef>
#include <string>

/// Appends bytes, in pieces that are short enough for the fast way.
/// @throw std::length_error as std::string::append() does.
void AppendInPieces(std::string& text, const char* data, std::size_t size);

/// @return a copy, made in such pieces.
std::string CopyInPieces(const std::string& text);
