// SPDX-License-Identifier: Apache-2.0
#include "VirtualTable.h"

#include <dlfcn.h>
#include <link.h>

std::size_t CountVirtualOperations(const std::string& symbol) {
    constexpr std::size_t ENTRIES_BEFORE = 2; // the offset to the top and the type information
    void* const table = dlsym(RTLD_DEFAULT, symbol.c_str());
    Dl_info info;
    const ElfW(Sym)* entry = nullptr;
    if (table == nullptr ||
        dladdr1(table, &info, reinterpret_cast<void**>(const_cast<ElfW(Sym)**>(&entry)), RTLD_DL_SYMENT) ==
            0 ||
        entry == nullptr) {
        return 0;
    }
    return entry->st_size / sizeof(void*) - ENTRIES_BEFORE;
}
