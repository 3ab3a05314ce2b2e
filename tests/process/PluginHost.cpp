// SPDX-License-Identifier: Apache-2.0
// A host that does not know the library, but loads a module that does: PluginHost PLUGIN PORT TIMES
// Exits with 0 when each send was answered and the library outlived the module.
#include <cstdlib>

#include <dlfcn.h>

int main(int argc, char** argv) {
    if (argc != 4) {
        return 2;
    }
    for (int i = 0; i < std::atoi(argv[3]); ++i) {
        void* const plugin = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
        if (plugin == nullptr) {
            return 3;
        }
        const auto send = reinterpret_cast<int (*)(int)>(dlsym(plugin, "SendFromPlugin"));
        if (send == nullptr || send(std::atoi(argv[2])) != 200) {
            return 4;
        }
        dlclose(plugin);
    }
    if (dlopen(argv[1], RTLD_NOW | RTLD_NOLOAD) != nullptr) {
        return 5; // the module itself is gone
    }
    // The library's thread still runs, in code that is still there.
    return dlopen(LIBRARY, RTLD_NOW | RTLD_NOLOAD) != nullptr ? 0 : 6;
}
