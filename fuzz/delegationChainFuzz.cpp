// SPDX-License-Identifier: MIT
// Builds chains of filters as the bytes say, uses and ends them, and compares all that can be seen
// of them with their plain forms after each operation. A number below a bound is a byte, and so is
// the choice of the operation.

#include <cstddef>
#include <cstdint>
#include <string>

#include <qz/qzLog.h>

#include "../tests/io/FilterChainTrial.h"
#include "../tests/support/LibraryStart.h"
#include "support/FuzzInput.h"

namespace {

// Refused reads and writes are reported as CRITICAL, each time.
struct QuietLibrary {
    QuietLibrary() { qz::qzLog::msInstance->setEchoToConsole(false); }

    qz::support::LibraryStart library;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const QuietLibrary library;
    qz::fuzz::FuzzInput input(data, size);
    qz::FilterChainTrial trial([&](unsigned long bound) { return input.takeByte() % bound; });
    while (!input.isEmpty()) {
        const std::string difference = trial.step();
        qz::fuzz::expectSame(difference.empty(), difference);
    }
    return 0;
}
