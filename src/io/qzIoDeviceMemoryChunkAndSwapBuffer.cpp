// SPDX-License-Identifier: MIT
#include <qz/qzIoDeviceMemoryChunkAndSwapBuffer.h>

#include <algorithm>
#include <cstring>
#include <iterator>

#include "SwapFile.h"

namespace qz {

namespace {

constexpr unsigned long kNoBudget = ~0UL;
constexpr unsigned long kZeroBufferSize = 131072;

// Of a negative offset; also of the smallest one, which has no positive counterpart.
unsigned long getMagnitude(long offset)
{
    return 0UL - static_cast<unsigned long>(offset);
}

// Appends within the capacity. The compiler can't know that, and would save six registers for the
// reallocation: half the time of a small write.
inline void insertWithin(std::vector<char>& memory, const char* src, unsigned long size)
{
    const char* const end = memory.data() + memory.size();
    const char* const limit = memory.data() + memory.capacity();
    if (static_cast<unsigned long>(limit - end) < size) __builtin_unreachable();
    memory.insert(memory.end(), src, src + size);
}

// A number, or a pair of them, is copied by one instruction in the place of a call.
inline void append(std::vector<char>& memory, const char* src, unsigned long size)
{
    if (size == 16) return insertWithin(memory, src, 16);
    if (size == 8) return insertWithin(memory, src, 8);
    if (size == 4) return insertWithin(memory, src, 4);
    insertWithin(memory, src, size);
}

}  // namespace

qzIoDeviceMemoryChunkAndSwapBuffer::qzIoDeviceMemoryChunkAndSwapBuffer(
    unsigned long firstChunkCapacity, unsigned long nextChunkSize)
    : qzIoDeviceMemoryChunkAndSwapBuffer("", firstChunkCapacity, nextChunkSize, kNoBudget)
{
}

qzIoDeviceMemoryChunkAndSwapBuffer::qzIoDeviceMemoryChunkAndSwapBuffer(
    const std::string& swapFolder, unsigned long firstChunkCapacity, unsigned long nextChunkSize,
    unsigned long memoryBudget)
    : qzIoDeviceRandomAccess(DataWayReadWrite),
      mFirstChunkCapacity(firstChunkCapacity),
      mNextChunkSize(nextChunkSize),
      mMemoryBudget(std::max(memoryBudget, firstChunkCapacity)),
      mSwapFolder(swapFolder)
{
    mChunks.emplace_back(firstChunkCapacity);
    restart();
}

qzIoDeviceMemoryChunkAndSwapBuffer::~qzIoDeviceMemoryChunkAndSwapBuffer() = default;

void qzIoDeviceMemoryChunkAndSwapBuffer::restart()
{
    mCurrent = mChunks.begin();
    mLast = mChunks.begin();
    mCurrentBase = 0;
    mOffset = 0;
    mWrittenBytes = 0;
}

void qzIoDeviceMemoryChunkAndSwapBuffer::goToNextChunk()
{
    const bool wasLast = mCurrent == mLast;
    mCurrentBase += mCurrent->size();
    mOffset = 0;
    ++mCurrent;
    if (wasLast) mLast = mCurrent;
}

unsigned long qzIoDeviceMemoryChunkAndSwapBuffer::refuse(const char* failure)
{
    setDeviceError(failure + mCurrent->getFileErrorMsg());
    return 0;
}

unsigned long qzIoDeviceMemoryChunkAndSwapBuffer::writeBytes(const char* src, unsigned long size)
{
    if (hasOwnError()) return 0;
    std::vector<char>* const memory = mCurrent->mMemory.get();
    if (memory != nullptr && mOffset == memory->size() && size <= memory->capacity() - mOffset) {
        append(*memory, src, size);
        mOffset += size;
        mWrittenBytes += size;
        return size;
    }
    return writeOverChunks(src, size);
}

unsigned long qzIoDeviceMemoryChunkAndSwapBuffer::writeOverChunks(const char* src,
                                                                  unsigned long size)
{
    unsigned long left = size;
    while (left != 0) {
        while (mOffset == mCurrent->capacity()) {
            if (std::next(mCurrent) == mChunks.end()) addNewChunk(left);
            goToNextChunk();
        }
        const unsigned long count = std::min(left, mCurrent->capacity() - mOffset);
        const char* const failure = mCurrent->write(mOffset, src, count);
        if (failure != nullptr) return refuse(failure);
        mOffset += count;
        src += count;
        left -= count;
    }
    mWrittenBytes += size;
    return size;
}

unsigned long qzIoDeviceMemoryChunkAndSwapBuffer::readBytes(char* dst, unsigned long size)
{
    if (hasOwnError()) return 0;
    const std::vector<char>* const memory = mCurrent->mMemory.get();
    if (memory == nullptr || size == 0 || size > memory->size() - mOffset)
        return readOverChunks(dst, size);
    std::memcpy(dst, memory->data() + mOffset, size);
    mOffset += size;
    return size;
}

unsigned long qzIoDeviceMemoryChunkAndSwapBuffer::readOverChunks(char* dst, unsigned long size)
{
    unsigned long done = 0;
    while (done != size && !atEnd()) {
        if (mOffset == mCurrent->size()) {
            goToNextChunk();
            continue;
        }
        const unsigned long count = std::min(size - done, mCurrent->size() - mOffset);
        const char* const failure = mCurrent->read(mOffset, dst + done, count);
        if (failure != nullptr) return refuse(failure);
        mOffset += count;
        done += count;
    }
    return done;
}

bool qzIoDeviceMemoryChunkAndSwapBuffer::atEnd() const
{
    if (mOffset != mCurrent->size()) return false;
    // A failed write may have left an empty chunk at the end.
    for (auto it = mCurrent; it != mLast;) {
        if (!(++it)->empty()) return false;
    }
    return true;
}

void qzIoDeviceMemoryChunkAndSwapBuffer::addNewChunk(unsigned long wantedSize)
{
    const unsigned long chunkSize = std::max(mNextChunkSize, wantedSize);
    if (mMemoryBudget == kNoBudget) {
        mChunks.emplace_back(chunkSize);
    } else if (mChunks.back().mSwapFile != nullptr) {
        return;
    } else if (const unsigned long used = getUsedByteCount(); used < mMemoryBudget) {
        mChunks.emplace_back(std::min(mMemoryBudget - used, chunkSize));
    } else {
        mChunks.emplace_back(mSwapFolder);
    }
    ++mChunkCount;
}

unsigned long qzIoDeviceMemoryChunkAndSwapBuffer::getWrittenBytes() const
{
    return mWrittenBytes;
}

unsigned long qzIoDeviceMemoryChunkAndSwapBuffer::getMemoryFootPrint() const
{
    unsigned long total = 0;
    for (const Chunk& chunk : mChunks) {
        if (chunk.mMemory != nullptr) total += chunk.capacity();
    }
    return total;
}

unsigned long qzIoDeviceMemoryChunkAndSwapBuffer::getUsedByteCount() const
{
    return countBytesBefore(mChunks.end());
}

// The sum before the current chunk is known, so that appending to a million chunks doesn't count
// them each time.
unsigned long qzIoDeviceMemoryChunkAndSwapBuffer::countBytesBefore(
    std::list<Chunk>::const_iterator end) const
{
    unsigned long total = mCurrentBase;
    for (auto it = mCurrent; it != end; ++it) {
        total += it->size();
    }
    return total;
}

long qzIoDeviceMemoryChunkAndSwapBuffer::getCurrentPos() const
{
    return static_cast<long>(mCurrentBase + mOffset);
}

bool qzIoDeviceMemoryChunkAndSwapBuffer::seek(long offset, SeekStart start)
{
    if (hasOwnError()) return false;
    const unsigned long position = mCurrentBase + mOffset;
    switch (start) {
        case SeekFromBegin:
            if (offset < 0) return refuseSeek("Fail to seek with a negative offset from begin");
            return moveTo(static_cast<unsigned long>(offset));
        case SeekFromCurrent:
            if (offset >= 0) return moveTo(position + static_cast<unsigned long>(offset));
            if (getMagnitude(offset) > position)
                return refuseSeek("Try to reverse seek past begin");
            return moveTo(position - getMagnitude(offset));
        case SeekFromEnd: {
            // Compatibility: the words are known, although it is the positive offset that fails.
            if (offset > 0) return refuseSeek("Fail to seek with a negative offset from end");
            const unsigned long size = countBytesBefore(std::next(mLast));
            if (getMagnitude(offset) > size) return refuseSeek("Try to reverse seek past begin");
            return moveTo(size - getMagnitude(offset));
        }
    }
    return false;
}

bool qzIoDeviceMemoryChunkAndSwapBuffer::refuseSeek(const char* reason)
{
    setDeviceError(reason);
    return false;
}

bool qzIoDeviceMemoryChunkAndSwapBuffer::moveTo(unsigned long position)
{
    if (position < mCurrentBase) {
        mCurrent = mChunks.begin();
        mCurrentBase = 0;
    }
    while (position - mCurrentBase > mCurrent->size() && mCurrent != mLast) {
        mCurrentBase += mCurrent->size();
        ++mCurrent;
    }
    mOffset = std::min(position - mCurrentBase, mCurrent->size());
    return appendZeros(position - mCurrentBase - mOffset);
}

bool qzIoDeviceMemoryChunkAndSwapBuffer::appendZeros(unsigned long count)
{
    if (count == 0) return true;
    const std::vector<char> zeros(std::min(count, kZeroBufferSize));
    while (count != 0) {
        const unsigned long piece = std::min<unsigned long>(count, zeros.size());
        if (writeBytes(zeros.data(), piece) != piece) return false;
        count -= piece;
    }
    return true;
}

bool qzIoDeviceMemoryChunkAndSwapBuffer::writeBackToDevice(qzIoDevice& destination,
                                                           unsigned long* writtenBytes,
                                                           std::vector<char>* /*buffer*/)
{
    if (!seek(0, SeekFromBegin)) {
        setDeviceError("Fail to rewind device");
        return false;
    }
    unsigned long total = 0;
    for (Chunk& chunk : mChunks) {
        if (chunk.empty()) continue;
        if (!chunk.copyTo(destination)) return false;
        total += chunk.size();
    }
    if (writtenBytes != nullptr) *writtenBytes = total;
    return destination.good();
}

void qzIoDeviceMemoryChunkAndSwapBuffer::clearDevice(ClearMode mode)
{
    std::list<Chunk> freed;
    if (mode == ClearFreeChunks) {
        freed.emplace_back(mFirstChunkCapacity);
        mChunks.swap(freed);
        mChunkCount = 1;
    }
    // Before the chunks are reset, so that the device stays whole if there is no memory for that.
    clearDeviceError();
    restart();
    if (mode != ClearKeepChunks && mode != ClearWipeChunks) return;
    for (Chunk& chunk : mChunks)
        chunk.resetChunk(mode == ClearWipeChunks);
}

}  // namespace qz
