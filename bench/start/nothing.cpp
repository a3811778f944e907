// SPDX-License-Identifier: MIT
#include <cstdio>

/// @file
/// A program that does nothing: built with the library and without it, the difference is what
/// loading costs. With an argument it prints the memory that it holds, in KiB: resident, and of
/// that its own.

int main(int argc, char**)
{
    if (argc == 1) return 0;
    std::FILE* file = std::fopen("/proc/self/smaps_rollup", "r");
    if (file == nullptr) return 1;
    long resident = 0;
    long own = 0;
    char line[256];
    while (std::fgets(line, sizeof line, file) != nullptr) {
        long size = 0;
        if (std::sscanf(line, "Rss: %ld", &size) == 1) resident += size;
        if (std::sscanf(line, "Private_Clean: %ld", &size) == 1) own += size;
        if (std::sscanf(line, "Private_Dirty: %ld", &size) == 1) own += size;
    }
    std::fclose(file);
    std::printf("%ld %ld\n", resident, own);
    return 0;
}
