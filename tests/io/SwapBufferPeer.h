// SPDX-License-Identifier: MIT
#pragma once

#include <list>
#include <vector>

#include <qz/qzIoDeviceFileStream.h>
#include <qz/qzIoDeviceMemoryChunkAndSwapBuffer.h>

#include "io/VirtualSlots.h"

namespace qz {

/// Looks into a chunk and swap buffer.
class qzIoDeviceMemoryChunkAndSwapBufferTestPeer {
public:
    using Buffer = qzIoDeviceMemoryChunkAndSwapBuffer;

    static Offsets getOffsets(const Buffer& buffer)
    {
        return {findOffset(buffer, buffer.mChunks),
                findOffset(buffer, buffer.mChunkCount),
                findOffset(buffer, buffer.mFirstChunkCapacity),
                findOffset(buffer, buffer.mNextChunkSize),
                findOffset(buffer, buffer.mMemoryBudget),
                findOffset(buffer, buffer.mSwapFolder),
                findOffset(buffer, buffer.mCurrent),
                findOffset(buffer, buffer.mLast),
                findOffset(buffer, buffer.mCurrentBase),
                findOffset(buffer, buffer.mOffset),
                findOffset(buffer, buffer.mWrittenBytes)};
    }
    static Offsets getOffsets(const Buffer::Chunk& chunk)
    {
        return {findOffset(chunk, chunk.mMemory), findOffset(chunk, chunk.mSwapFolder),
                findOffset(chunk, chunk.mSwapFile), findOffset(chunk, chunk.mFileSize),
                findOffset(chunk, chunk.mFilePosition)};
    }
    static unsigned long getChunkCount(const Buffer& buffer) { return buffer.mChunkCount; }
    static std::vector<unsigned long> getCapacities(const Buffer& buffer)
    {
        std::vector<unsigned long> capacities;
        for (const Buffer::Chunk& chunk : buffer.mChunks)
            capacities.push_back(chunk.capacity());
        return capacities;
    }
    static std::vector<unsigned long> getSizes(const Buffer& buffer)
    {
        std::vector<unsigned long> sizes;
        for (const Buffer::Chunk& chunk : buffer.mChunks)
            sizes.push_back(chunk.size());
        return sizes;
    }
    static bool isSwap(const Buffer::Chunk& chunk) { return chunk.mSwapFile != nullptr; }
    static const Buffer::Chunk& getLastChunk(const Buffer& buffer) { return buffer.mChunks.back(); }
    /// The memory of the first chunk.
    static const std::vector<char>& getMemory(const Buffer& buffer)
    {
        return *buffer.mChunks.front().mMemory;
    }
    /// The file device of the last chunk, which is a swap chunk. Its class is private, but derived
    /// from the file device first.
    static qzIoDeviceFileStream& getFile(Buffer& buffer)
    {
        return *reinterpret_cast<qzIoDeviceFileStream*>(buffer.mChunks.back().mSwapFile.get());
    }
};

}  // namespace qz
