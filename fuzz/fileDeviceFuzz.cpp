// Does operations of chance on a file device and on its plain form over a standard stream, and
// compares the two after each. The first byte says how long the file is to begin with.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "../tests/io/FileDeviceTrial.h"
#include "../tests/support/LibraryStart.h"
#include "support/FuzzInput.h"

namespace {

using qz::fuzz::expectSame;
using qz::fuzz::FuzzInput;

// A folder in memory that is removed at the end.
class MemoryFolder {
public:
    MemoryFolder() : mPath("/dev/shm/qzFileDeviceFuzz-XXXXXX")
    {
        expectSame(::mkdtemp(mPath.data()) != nullptr, "no folder " + mPath);
    }
    ~MemoryFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(mPath, ignored);
    }
    MemoryFolder(const MemoryFolder&) = delete;
    MemoryFolder& operator=(const MemoryFolder&) = delete;

    // Makes the two files anew with `size` bytes; no files for a size of 0.
    void fill(std::size_t size) const
    {
        for (const char* name : {"/device", "/plain"}) {
            std::filesystem::remove(mPath + name);
            if (size != 0) std::ofstream(mPath + name, std::ios::binary) << std::string(size, '.');
        }
    }
    const std::string& getPath() const { return mPath; }

private:
    std::string mPath;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const qz::support::LibraryStart library;
    static const MemoryFolder folder;
    FuzzInput input(data, size);
    folder.fill(input.takeByte() * 100);
    static const std::size_t bufferSize = qz::FileDeviceTrial::measureBuffer(folder.getPath());
    qz::FileDeviceTrial trial(folder.getPath(), bufferSize,
                              [&](unsigned long bound) { return input.takeByte() % bound; });
    while (!input.isEmpty()) {
        const std::string difference = trial.step();
        expectSame(difference.empty(), difference);
    }
    const std::string difference = trial.finish();
    expectSame(difference.empty(), difference);
    return 0;
}
