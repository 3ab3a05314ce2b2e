// SPDX-License-Identifier: Apache-2.0
/// @file
/// Plain pointers that several threads read and write. The singletons' fields are plain pointers by their
/// classes' layout, so the atomicity is in the access.
#pragma once

/// @return the pointer; what was written before its Publish() can be seen.
template <typename T> T* LoadPublished(T* const& pointer) {
    return __atomic_load_n(&pointer, __ATOMIC_ACQUIRE);
}

/// Makes the value the pointer's, and what was written before it visible to whoever loads it.
template <typename T> void Publish(T*& pointer, T* value) {
    __atomic_store_n(&pointer, value, __ATOMIC_RELEASE);
}
