// SPDX-License-Identifier: Apache-2.0
#pragma once
#include <cstddef>
extern "C" int memset_s(void* dest, std::size_t destMax, int c, std::size_t count);
