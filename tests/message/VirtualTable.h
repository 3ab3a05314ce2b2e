// SPDX-License-Identifier: Apache-2.0
/// @file
/// Calls virtual operations by their place in the virtual table, as a program that was compiled
/// long ago does.
#pragma once

#include <cstddef>
#include <cstring>

/// An operation of this type, called through a place in the table. Constness of the operation is
/// of no account.
template <class Signature> struct Slot;

template <class Result, class... Parameters> struct Slot<Result(Parameters...)> {
    /// @param place counted from 0, the two destructors included.
    template <class Object> static Result Call(Object& object, std::size_t place, Parameters... arguments) {
        using Method = Result (Object::*)(Parameters...);
        // A pointer to a virtual member function holds 1 + the offset of its slot (Itanium C++ ABI, 2.3).
        struct {
            std::size_t pointer;
            std::ptrdiff_t adjustment;
        } const bits{1 + place * sizeof(void*), 0};
        Method method;
        static_assert(sizeof method == sizeof bits);
        std::memcpy(&method, &bits, sizeof method);
        return (object.*method)(arguments...);
    }
};
