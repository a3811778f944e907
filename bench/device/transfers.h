// SPDX-License-Identifier: MIT
#pragma once

/// @file
/// The rows of the device programs, for any kind of file.

#include <cstdint>
#include <string>
#include <vector>

#include "../support.h"

namespace bench {

/// How large the file is that is written and read.
inline std::size_t getFileSize()
{
    return sized(std::size_t{64} << 20U, std::size_t{256} << 10U);
}

/// The rows of one contender. `Kind::Writer` and `Kind::Reader` are made with a path; they have
/// `bool write(const char*, size)` and `bool read(char*, size)`, false unless all bytes moved.
template <typename Kind>
class TransferRows {
public:
    explicit TransferRows(const char* name)
        : mCheck(name, readsWhatItWrote),
          mWriteBlocks("write 4 KiB each", name, measureWrite<4096>),
          mReadBlocks("read 4 KiB each", name, measureRead<4096>),
          mWritePieces("write 64 B each", name, measureWrite<64>),
          mReadPieces("read 64 B each", name, measureRead<64>),
          mWriteBelow("write 1,023 B each", name, measureWrite<1023>),
          mWriteAbove("write 1,024 B each", name, measureWrite<1024>),
          mWriteLarge("write 16 KiB each", name, measureWrite<16384>)
    {
    }

private:
    static std::size_t writeFile(const std::string& path, const std::vector<char>& piece)
    {
        typename Kind::Writer writer(path);
        std::size_t size = 0;
        while (size < getFileSize() && writer.write(piece.data(), piece.size())) {
            size += piece.size();
        }
        return size;
    }

    static std::size_t readFile(const std::string& path, std::vector<char>& piece)
    {
        typename Kind::Reader reader(path);
        std::size_t size = 0;
        while (reader.read(piece.data(), piece.size())) {
            keep(piece);
            size += piece.size();
        }
        return size;
    }

    static bool readsWhatItWrote()
    {
        const ScratchFile file("check");
        const std::vector<char> written(64, 'x');
        std::vector<char> read(64);
        return writeFile(file.getPath(), written) == getFileSize() &&
               readFile(file.getPath(), read) == getFileSize() && read == written;
    }

    static void setBytesProcessed(benchmark::State& state)
    {
        state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(getFileSize()));
    }

    template <std::size_t Size>
    static void measureWrite(benchmark::State& state)
    {
        const ScratchFile file("device");
        const std::vector<char> piece(Size, 'x');
        for (auto _ : state)
            writeFile(file.getPath(), piece);
        setBytesProcessed(state);
    }

    template <std::size_t Size>
    static void measureRead(benchmark::State& state)
    {
        const ScratchFile file("device");
        std::vector<char> piece(Size, 'x');
        writeFile(file.getPath(), piece);
        for (auto _ : state)
            readFile(file.getPath(), piece);
        setBytesProcessed(state);
    }

    Check mCheck;
    Case mWriteBlocks;
    Case mReadBlocks;
    Case mWritePieces;
    Case mReadPieces;
    // A standard stream passes blocks from 1,024 bytes on to the system at once.
    Case mWriteBelow;
    Case mWriteAbove;
    Case mWriteLarge;
};

}  // namespace bench
