// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <utility>

#include <sys/mman.h>

#include <qz/qzIoDeviceMemoryChunkAndSwapBuffer.h>
#include <qz/qzLogObject.h>

#include "SwapFile.h"

namespace qz {

namespace {

constexpr unsigned long kCopyBufferSize = 4194304;

constexpr std::uintptr_t kPageSize = 4096;
constexpr std::uintptr_t kHugePageSize = 2097152;
constexpr unsigned long kLeastHugePages = 2;
// Smaller blocks come from memory that malloc has in use already (its M_MMAP_THRESHOLD).
constexpr unsigned long kLeastPopulated = 131072;
constexpr unsigned long kMostPopulated = 1048576;

// Advice about the whole pages of a block. A system that doesn't know it may ignore it.
void advise(char* block, unsigned long size, std::uintptr_t pageSize, int advice)
{
    const auto address = reinterpret_cast<std::uintptr_t>(block);
    const std::uintptr_t begin = (address + pageSize - 1) & ~(pageSize - 1);
    const std::uintptr_t end = (address + size) & ~(pageSize - 1);
    if (begin < end) ::madvise(block + (begin - address), end - begin, advice);
}

// Page faults are most of what it costs to write to a new block (1.2 us for each 4 KiB). Huge pages
// spare nearly all of them; one call for all pages of a smaller block spares half the time.
void prepareForWriting(char* block, unsigned long capacity)
{
    if (capacity >= kLeastHugePages * kHugePageSize) {
        advise(block, capacity, kHugePageSize, MADV_HUGEPAGE);
    } else if (capacity >= kLeastPopulated) {
#ifdef MADV_POPULATE_WRITE
        advise(block, std::min(capacity, kMostPopulated), kPageSize, MADV_POPULATE_WRITE);
#endif
    }
}

}  // namespace

using Chunk = qzIoDeviceMemoryChunkAndSwapBuffer::Chunk;

Chunk::Chunk(unsigned long capacity) : mMemory(std::make_unique<std::vector<char>>())
{
    mMemory->reserve(capacity);
    prepareForWriting(mMemory->data(), capacity);
}

Chunk::Chunk(const std::string& swapFolder) : mSwapFolder(swapFolder)
{
    makeFile();
}

Chunk::~Chunk() = default;

void Chunk::EndSwapFile::operator()(SwapFile* file) const
{
    // In a forked child the parent still uses the file, and its buffer is the parent's to flush.
    if (file->isOwn()) delete file;
}

void Chunk::makeFile()
{
    // If there is no memory for the new one, the old one stays.
    std::unique_ptr<SwapFile, EndSwapFile> fresh(new SwapFile);
    mSwapFile = std::move(fresh);
    mFilePosition = 0;
    mSwapFile->make(mSwapFolder);
}

void Chunk::resetChunk(bool wipe)
{
    if (mMemory != nullptr) {
        if (wipe) mMemory->assign(mMemory->capacity(), '\0');
        mMemory->clear();
        return;
    }
    mFileSize = 0;
    if (wipe || !mSwapFile->isOwn()) {
        makeFile();
    } else if (!mSwapFile->good() || !mSwapFile->seek(0, SeekFromBegin)) {
        // After a full disk, for example; what is left in the buffer then makes the seek fail.
        mSwapFile->reopen(mSwapFolder);
    }
    // Not before: if there is no memory, the old file stays where it is.
    mFilePosition = 0;
}

const char* Chunk::write(unsigned long offset, const char* src, unsigned long size)
{
    if (mMemory != nullptr) {
        const unsigned long overwritten = std::min(size, mMemory->size() - offset);
        std::memcpy(mMemory->data() + offset, src, overwritten);
        // Within the capacity, so nothing moves.
        mMemory->insert(mMemory->end(), src + overwritten, src + size);
        return nullptr;
    }
    if (!seekFile(offset)) return "Fail to seek in swap file ";
    const unsigned long written = mSwapFile->writeBytes(src, size);
    mFilePosition += written;
    if (written != size) return "Fail to write to swap file ";
    mFileSize = std::max(mFileSize, mFilePosition);
    return nullptr;
}

const char* Chunk::read(unsigned long offset, char* dst, unsigned long size)
{
    if (mMemory != nullptr) {
        std::memcpy(dst, mMemory->data() + offset, size);
        return nullptr;
    }
    if (!seekFile(offset)) return "Fail to seek in swap file ";
    const unsigned long got = mSwapFile->readBytes(dst, size);
    mFilePosition += got;
    return got == size ? nullptr : "Not enought data in swap file ";
}

bool Chunk::seekFile(unsigned long offset)
{
    if (offset == mFilePosition) return true;
    if (!mSwapFile->seek(static_cast<long>(offset), SeekFromBegin)) return false;
    mFilePosition = offset;
    return true;
}

std::string Chunk::getFileErrorMsg() const
{
    return mSwapFile->getDeviceErrorMsg();
}

bool Chunk::copyTo(qzIoDevice& destination)
{
    if (mMemory == nullptr) return copyFileTo(destination);
    return destination.writeBytes(mMemory->data(), mMemory->size()) == mMemory->size();
}

bool Chunk::copyFileTo(qzIoDevice& destination)
{
    if (!seekFile(0)) {
        logCritical() << "Fail to seek in swap chunk " << getFileErrorMsg();
        return false;
    }
    std::vector<char> buffer(kCopyBufferSize);
    while (mFilePosition < mFileSize && mSwapFile->good() && !mSwapFile->atEnd()) {
        const unsigned long wanted = std::min(mFileSize - mFilePosition, kCopyBufferSize);
        const unsigned long got = mSwapFile->readBytes(buffer.data(), wanted);
        if (got == 0) break;
        mFilePosition += got;
        // Compatibility: only the destination's own error counts here, not the result.
        destination.writeBytes(buffer.data(), got);
    }
    if (!mSwapFile->good()) {
        logCritical() << "Got an error while reading from swap chunk " << getFileErrorMsg();
        return false;
    }
    if (mFilePosition < mFileSize) {
        logCritical() << "Fail to read back data from swap";
        return false;
    }
    return true;
}

}  // namespace qz
