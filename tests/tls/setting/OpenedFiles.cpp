// SPDX-License-Identifier: Apache-2.0
#include "setting/OpenedFiles.h"

#include <cstdio>

#include "interpose/Next.h"

using httpclient::testing::Next;

namespace {

thread_local Lines* t_paths = nullptr;

} // namespace

OpenedFiles::OpenedFiles() {
    t_paths = new Lines;
}

OpenedFiles::~OpenedFiles() {
    delete t_paths;
    t_paths = nullptr;
}

Lines OpenedFiles::Paths() const {
    return *t_paths;
}

// What the C++ library's file streams open their files with.
extern "C" std::FILE* fopen64(const char* path, const char* mode) {
    static auto* const next = Next<std::FILE*(const char*, const char*)>("fopen64");
    if (t_paths != nullptr) {
        t_paths->emplace_back(path);
    }
    return next(path, mode);
}
