// SPDX-License-Identifier: MIT
// Runs a fuzz target over the files of a folder, as an ordinary test: what was found once stays
// found, also where there is no libFuzzer.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

std::string readFile(const std::filesystem::path& path)
{
    std::ifstream file;
    file.exceptions(std::ios::badbit | std::ios::failbit);
    file.open(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

}  // namespace

int main(int argumentCount, char** arguments)
{
    if (argumentCount != 2) {
        std::fputs("Usage: replay_NAME FOLDER\n", stderr);
        return 2;
    }
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(arguments[1])) {
        std::printf("%s\n", entry.path().c_str());
        std::fflush(stdout);  // so that a crash shows its file
        const std::string bytes = readFile(entry.path());
        LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
        ++count;
    }
    // A replay of nothing would pass whatever the target does.
    return count > 0 ? 0 : 1;
}
