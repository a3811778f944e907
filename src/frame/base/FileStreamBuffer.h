// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <iostream>
#include <streambuf>
#include <utility>

#include "CopyBytes.h"
#include "FileDescriptor.h"

namespace qz {

/// The buffer of a standard stream over a file, for reading, writing or both.
///
/// It differs from the standard one in what happens after an error: bytes that were written are
/// never written again, a read error is thrown (so that the stream turns bad) and never taken for
/// the end of the file, and the error number is preserved. There is one position for reads and
/// writes, and they may follow each other without a seek.
class FileStreamBuffer final : public std::streambuf {
public:
    /// A block of at least this size goes directly to the system or comes from it.
    static constexpr std::size_t kSize = 32768;

    FileStreamBuffer() = default;
    ~FileStreamBuffer() override;
    FileStreamBuffer(const FileStreamBuffer&) = delete;
    FileStreamBuffer& operator=(const FileStreamBuffer&) = delete;

    /// Opens a file, named in the local character set, as `std::filebuf::open` does. The buffer
    /// must be closed.
    /// @param mode `in`, `out` or both; with `trunc` or `app` the file is created if it is missing,
    ///     and so it is with `out` alone, which empties it.
    bool open(const char* localPath, std::ios_base::openmode mode);
    /// Takes over a file that is open for `mode`, at its position. The buffer must be closed.
    /// @return false if there is no file.
    bool open(FileDescriptor file, std::ios_base::openmode mode);
    /// Writes what is buffered and closes the file. @return false if either fails, or if no file is
    /// open.
    bool close();
    bool isOpen() const { return mFile.isOpen(); }
    /// The error number of the first call that failed since `open`; 0 for none.
    int getError() const { return mError; }

    /// Reads `size` bytes if the buffer holds so many. Spares the three virtual calls and the
    /// sentry of the stream, which are most of the cost of a small read.
    bool tryRead(char* dst, std::size_t size)
    {
        if (size == 0 || static_cast<std::size_t>(egptr() - gptr()) < size) return false;
        copyBytes(dst, gptr(), size);
        gbump(static_cast<int>(size));
        return true;
    }
    /// Writes `size` bytes if the buffer has space for so many.
    bool tryWrite(const char* src, std::size_t size)
    {
        if (size == 0 || static_cast<std::size_t>(epptr() - pptr()) < size) return false;
        copyBytes(pptr(), src, size);
        pbump(static_cast<int>(size));
        return true;
    }

protected:
    int_type underflow() override;
    int_type overflow(int_type c) override;
    std::streamsize xsgetn(char* dst, std::streamsize size) override;
    std::streamsize xsputn(const char* src, std::streamsize size) override;
    pos_type seekoff(off_type offset, std::ios_base::seekdir from,
                     std::ios_base::openmode which) override;
    pos_type seekpos(pos_type position, std::ios_base::openmode which) override;
    int sync() override;

private:
    bool isReading() const { return eback() != nullptr; }
    bool isWriting() const { return pbase() != nullptr; }
    bool startReading();
    bool startWriting();
    bool writeBuffer();
    std::size_t readBlock(char* dst, std::size_t size);
    bool isFolder() const;
    off_type getPosition();
    off_type move(off_type offset, std::ios_base::seekdir from) const;
    void noteError();
    [[noreturn]] void throwError(const char* call);

    // At any time the buffer holds bytes read ahead (a get area), bytes not yet written (a put
    // area) or neither. The descriptor is at the end of the get area, or at the begin of the put
    // area.
    FileDescriptor mFile;
    std::ios_base::openmode mMode{};
    int mError = 0;
    char mBuffer[kSize];
};

/// A standard stream over a file, with the buffer above. Final, so that a check of its state needs
/// no virtual table.
class FileStream final : public std::iostream {
public:
    FileStream() : std::iostream(nullptr) { init(&mBuffer); }

    /// Opens a file; a failure sets the stream's fail state.
    bool open(const char* localPath, std::ios_base::openmode mode)
    {
        return note(mBuffer.open(localPath, mode));
    }
    /// Takes over an open file; if there is none, this sets the stream's fail state.
    bool open(FileDescriptor file, std::ios_base::openmode mode)
    {
        return note(mBuffer.open(std::move(file), mode));
    }
    /// Closes the file; a failure sets the stream's fail state.
    bool close() { return note(mBuffer.close()); }
    bool isOpen() const { return mBuffer.isOpen(); }
    FileStreamBuffer& getBuffer() { return mBuffer; }

private:
    bool note(bool isDone)
    {
        if (!isDone) setstate(failbit);
        return isDone;
    }

    FileStreamBuffer mBuffer;
};

}  // namespace qz
