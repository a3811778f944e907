// SPDX-License-Identifier: MIT
// Does operations of chance on a chunk and swap buffer and on a plain row of bytes, and compares
// the two after each. The first bytes choose the sizes of the chunks and the budget.

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>

#include "../tests/io/SwapBufferTrial.h"
#include "../tests/support/LibraryStart.h"
#include "support/FuzzInput.h"
#include "support/MemoryFolder.h"

namespace {

using qz::fuzz::expectSame;
using qz::fuzz::FuzzInput;
using qz::fuzz::MemoryFolder;

void compareOverInput(const std::string& folder, FuzzInput& input)
{
    qz::SwapBufferTrial trial(folder, [&](unsigned long bound) {
        const unsigned long high = bound > 256 ? input.takeByte() : 0;
        return (high * 256 + input.takeByte()) % bound;
    });
    while (!input.isEmpty()) {
        const std::string difference = trial.step();
        expectSame(difference.empty(), difference);
    }
    const std::string difference = trial.finish();
    expectSame(difference.empty(), difference);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const qz::support::LibraryStart library;
    static const MemoryFolder folder("qzSwapBufferFuzz");
    FuzzInput input(data, size);
    compareOverInput(folder.getPath(), input);
    expectSame(std::filesystem::is_empty(folder.getPath()), "no file is left");
    return 0;
}
