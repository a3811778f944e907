// SPDX-License-Identifier: MIT
// Loads a plugin that uses the library, has it start and stop the library, closes it, and then gets
// a signal:
//     unload_host PLUGIN SIGNAL
// The program itself doesn't link the library.

#include <dlfcn.h>
#include <signal.h>

#include <cstdio>
#include <cstdlib>
#include <thread>

int main(int argumentCount, char** arguments)
{
    if (argumentCount != 3) return 2;
    void* plugin = nullptr;
    const char* const path = arguments[1];
    // On a thread of its own, whose end frees what the library keeps for a thread.
    std::thread([&plugin, path] {
        plugin = ::dlopen(path, RTLD_NOW);
        if (plugin == nullptr) return;
        reinterpret_cast<void (*)()>(::dlsym(plugin, "useLibrary"))();
    }).join();
    if (plugin == nullptr || ::dlclose(plugin) != 0) return 3;
    std::puts("closed");
    std::fflush(stdout);
    ::raise(std::atoi(arguments[2]));
    std::puts("survived");
    return 0;
}
