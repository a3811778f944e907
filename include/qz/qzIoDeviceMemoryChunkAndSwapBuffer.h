// SPDX-License-Identifier: MIT
#pragma once

#include <list>
#include <memory>
#include <string>
#include <vector>

#include <qz/qzExport.h>
#include <qz/qzIoDevice.h>

namespace qz {

class SwapFile;

/// A device in memory that can continue in a file when its memory is used up.
///
/// The bytes are in chunks that are never moved or copied to make room. With a memory budget, the
/// chunk after the last one that fits into the budget is a swap file, which has no limit. Readers
/// and writers see one row of bytes with one position; seeking beyond the end appends zeros.
///
/// A swap file is created for its owner alone (mode 0600), never over an existing file or link, and
/// is removed with its chunk. A process that is killed does not remove it. A child that was forked
/// off may clear or destroy the device, which leaves the parent's swap file as it is; it must not
/// read or write it.
///
/// A swap file that failed stays unreadable after `clearDeviceError`: clear the data, which opens
/// the file again.
///
/// Lack of memory is reported by `std::bad_alloc`, as everywhere. What was written before stays,
/// and so does the part of the failed write for which there was memory: the position is after it,
/// but `getWrittenBytes` doesn't count it.
class QZ_API qzIoDeviceMemoryChunkAndSwapBuffer : public qzIoDeviceRandomAccess {
public:
    /// A piece of the data, in memory or in a swap file.
    class QZ_API Chunk {
    public:
        /// Makes an empty chunk in memory that can hold `capacity` bytes.
        explicit Chunk(unsigned long capacity);
        /// Makes an empty chunk in a new file of `swapFolder` (UTF-8), which is created with its
        /// parents if it is missing. When that fails, the first write fails.
        explicit Chunk(const std::string& swapFolder);
        /// Frees the memory, or closes and removes the file. In another process than the one that
        /// made the file, the file stays as it is.
        ~Chunk();
        Chunk(const Chunk&) = delete;
        Chunk& operator=(const Chunk&) = delete;

        /// The bytes that the chunk holds.
        unsigned long size() const { return mMemory != nullptr ? mMemory->size() : mFileSize; }
        /// The most bytes that the chunk can hold; all bits set for a swap file.
        unsigned long capacity() const { return mMemory != nullptr ? mMemory->capacity() : ~0UL; }
        /// Whether the chunk holds no bytes.
        bool empty() const { return size() == 0; }
        /// Removes all bytes; the memory or the file stays for new ones. A file that is in error is
        /// opened again.
        /// @param wipe overwrites the memory with zeros first, or takes a new file in the place of
        ///     the old one, which is removed.
        void resetChunk(bool wipe);

    private:
        friend class qzIoDeviceMemoryChunkAndSwapBuffer;
        friend class qzIoDeviceMemoryChunkAndSwapBufferTestPeer;

        struct QZ_LOCAL EndSwapFile {
            void operator()(SwapFile* file) const;
        };

        // Both return what has failed, for the device's error, or null.
        QZ_LOCAL const char* write(unsigned long offset, const char* src, unsigned long size);
        QZ_LOCAL const char* read(unsigned long offset, char* dst, unsigned long size);
        QZ_LOCAL std::string getFileErrorMsg() const;
        QZ_LOCAL bool copyTo(qzIoDevice& destination);
        QZ_LOCAL bool copyFileTo(qzIoDevice& destination);
        QZ_LOCAL bool seekFile(unsigned long offset);
        QZ_LOCAL void makeFile();

        std::unique_ptr<std::vector<char>> mMemory;  // null for a swap file
        std::string mSwapFolder;
        std::unique_ptr<SwapFile, EndSwapFile> mSwapFile;  // a qzIoDeviceFileStream; null in memory
        unsigned long mFileSize = 0;                       // valid bytes; the file may have more
        unsigned long mFilePosition = 0;  // of the file device, to seek only if needed
    };

    /// What `clearDevice` does with the chunks.
    enum ClearMode : int {
        ClearFreeChunks = 0,  ///< Frees them and starts with one new first chunk.
        ClearKeepChunks = 1,  ///< Keeps their memory and files for new data.
        ClearWipeChunks = 2,  ///< Overwrites their memory with zeros and replaces their files.
    };

    /// Makes an empty device that stays in memory, without a limit.
    /// @param firstChunkCapacity bytes of the first chunk, which is made now.
    /// @param nextChunkSize least bytes of each later chunk.
    qzIoDeviceMemoryChunkAndSwapBuffer(unsigned long firstChunkCapacity,
                                       unsigned long nextChunkSize);
    /// Makes an empty device that continues in a swap file.
    /// @param swapFolder folder for the swap file, UTF-8; created when it is first needed.
    /// @param firstChunkCapacity bytes of the first chunk, which is made now.
    /// @param nextChunkSize least bytes of each later chunk, as far as the budget allows them.
    /// @param memoryBudget the most bytes in memory, but at least `firstChunkCapacity`. All bits
    ///     set are no limit.
    qzIoDeviceMemoryChunkAndSwapBuffer(const std::string& swapFolder,
                                       unsigned long firstChunkCapacity,
                                       unsigned long nextChunkSize, unsigned long memoryBudget);
    /// Frees all chunks and removes the swap file.
    ~qzIoDeviceMemoryChunkAndSwapBuffer() override;

    /// Reads from the position on. @return the bytes read, 0 after a failure.
    unsigned long readBytes(char* dst, unsigned long size) override;
    /// Writes at the position, over what is there and then beyond the end. @return `size`, 0 after
    /// a failure.
    unsigned long writeBytes(const char* src, unsigned long size) override;
    /// Whether the position is after the last byte.
    bool atEnd() const override;
    /// Writes all bytes to another device, from the first one on, and moves the position to 0.
    /// @param destination receives the bytes. Short writes of bytes from a swap file are not
    ///     detected here: the result is then that of `destination.good()`.
    /// @param writtenBytes receives their count if not null; is not written after a failure.
    /// @param buffer is not used.
    /// @return false when a chunk could not be read or the destination has failed. This device is
    ///     in error only if its position could not be moved.
    bool writeBackToDevice(qzIoDevice& destination, unsigned long* writtenBytes,
                           std::vector<char>* buffer) override;
    /// Moves the position. Beyond the end, the device grows by zeros, which count as written and
    /// take memory or disk space for the whole distance.
    /// @return false for a device in error, for a position before the first byte, for a positive
    ///     offset from the end, and when the zeros can't be written.
    bool seek(long offset, SeekStart start) override;
    long getCurrentPos() const override;

    /// Appends an empty chunk: in memory while the bytes of all chunks are below the budget, else a
    /// swap file. Does nothing if the last chunk is a swap file.
    ///
    /// `writeBytes` does this when it needs to. Chunks that are added before there are data may
    /// exceed the budget, as they hold no bytes yet.
    /// @param wantedSize capacity in bytes; the chunk size of the device is the least, and what is
    ///     left of the budget is the most.
    void addNewChunk(unsigned long wantedSize);
    /// Removes all bytes and the error, and moves the position to 0.
    void clearDevice(ClearMode mode);
    /// The bytes of all successful writes, overwritten ones included, since the last clear.
    unsigned long getWrittenBytes() const;
    /// The capacity of all chunks in memory, in bytes.
    unsigned long getMemoryFootPrint() const;
    /// The bytes that the device holds, in memory and in its swap file.
    unsigned long getUsedByteCount() const;

private:
    friend class qzIoDeviceMemoryChunkAndSwapBufferTestPeer;

    using ChunkPosition = std::list<Chunk>::iterator;

    QZ_LOCAL void restart();
    QZ_LOCAL void goToNextChunk();
    QZ_LOCAL unsigned long writeOverChunks(const char* src, unsigned long size);
    QZ_LOCAL unsigned long readOverChunks(char* dst, unsigned long size);
    QZ_LOCAL unsigned long countBytesBefore(std::list<Chunk>::const_iterator end) const;
    QZ_LOCAL unsigned long refuse(const char* failure);
    QZ_LOCAL bool refuseSeek(const char* reason);
    QZ_LOCAL bool moveTo(unsigned long position);
    QZ_LOCAL bool appendZeros(unsigned long count);

    // Chunks before the last one are full, those after it are empty.
    std::list<Chunk> mChunks;  // never empty
    unsigned long mChunkCount = 1;
    unsigned long mFirstChunkCapacity;
    unsigned long mNextChunkSize;
    unsigned long mMemoryBudget;  // all bits set for no limit
    std::string mSwapFolder;
    ChunkPosition mCurrent;          // the chunk of the position
    ChunkPosition mLast;             // the last chunk that written data has reached
    unsigned long mCurrentBase = 0;  // the bytes of all chunks before the current one
    unsigned long mOffset = 0;       // the position in the current chunk
    unsigned long mWrittenBytes = 0;
};

}  // namespace qz
