// SPDX-License-Identifier: MIT
// Writes to a chunk and swap buffer whose swap file is on a small disk, mounted at the folder of
// the first argument, until the disk is full, and then clears the buffer in each way and uses it
// again. Exit code 77 means that this process may have no such disk.

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include <qz/qzIoDeviceMemoryChunkAndSwapBuffer.h>

#include "support/LibraryStart.h"
#include "support/LogCapture.h"
#include "support/SmallDisk.h"

namespace {

using Buffer = qz::qzIoDeviceMemoryChunkAndSwapBuffer;

constexpr const char* kDiskSize = "512k";
constexpr unsigned long kBudget = 65536;
constexpr unsigned long kChunkSize = 16384;
constexpr unsigned long kFitting = 300'000;  // bytes that fit into memory and disk

std::string makePiece(unsigned long number)
{
    std::string piece(4096, static_cast<char>('a' + number % 26));
    return piece.replace(0, 8, std::to_string(10'000'000 + number));
}

// @return the pieces that were written.
unsigned long fill(Buffer& buffer, unsigned long mostBytes)
{
    unsigned long count = 0;
    while (count * 4096 < mostBytes) {
        const std::string piece = makePiece(count);
        if (buffer.writeBytes(piece.data(), piece.size()) != piece.size()) break;
        ++count;
    }
    return count;
}

bool holds(Buffer& buffer, unsigned long pieces)
{
    if (!buffer.seek(0, Buffer::SeekFromBegin)) return false;
    std::string piece(4096, '?');
    for (unsigned long i = 0; i < pieces; ++i) {
        if (buffer.readBytes(piece.data(), piece.size()) != piece.size()) return false;
        if (piece != makePiece(i)) return false;
    }
    return buffer.atEnd();
}

std::size_t countFiles(const std::string& folder)
{
    const auto entries = std::filesystem::directory_iterator(folder);
    return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

void useFullDisk(Buffer& buffer, Buffer::ClearMode mode)
{
    buffer.seek(0, Buffer::SeekFromBegin);
    const unsigned long pieces = fill(buffer, 10'000'000);
    std::cout << (pieces * 4096 > kFitting ? "full: " : "full too early: ")
              << buffer.getDeviceErrorMsg() << '\n';
    buffer.clearDevice(mode);
    const unsigned long again = fill(buffer, kFitting);
    std::cout << "after clear " << mode << ": "
              << (again * 4096 >= kFitting && holds(buffer, again) ? "whole" : "broken") << ' '
              << buffer.getDeviceErrorMsg() << '\n';
}

}  // namespace

int main(int argumentCount, char** arguments)
{
    if (argumentCount != 2) return 2;
    const std::string folder = arguments[1];
    if (!qz::support::mountSmallDisk(folder, kDiskSize)) {
        std::cerr << std::strerror(errno);
        return qz::support::kNoSmallDisk;
    }
    const qz::support::LibraryStart library;
    const qz::support::LogCapture log;
    auto buffer = std::make_unique<Buffer>(folder, kChunkSize, kChunkSize, kBudget);
    for (const auto mode :
         {Buffer::ClearKeepChunks, Buffer::ClearWipeChunks, Buffer::ClearFreeChunks})
        useFullDisk(*buffer, mode);
    fill(*buffer, 10'000'000);
    buffer.reset();
    std::cout << "files left: " << countFiles(folder) << ", reports: " << log.getLines().size()
              << '\n';
    return 0;
}
