// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cerrno>
#include <ios>
#include <streambuf>
#include <string>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

namespace qz {

/// The plain form of the stream buffer of a file device: it reads at most one byte ahead. It must
/// be full at the same byte as the real one, so that failed writes show at the same call.
class PlainFileBuffer : public std::streambuf {
public:
    explicit PlainFileBuffer(std::size_t capacity) : mCapacity(capacity) {}
    ~PlainFileBuffer() override { close(); }

    bool open(const char* path, std::ios_base::openmode mode)
    {
        const bool reads = (mode & std::ios_base::in) != 0;
        mWrites = (mode & std::ios_base::out) != 0;
        mReads = reads;
        int flags = mWrites ? (reads ? O_RDWR : O_WRONLY) : O_RDONLY;
        if (mode & std::ios_base::app) flags |= O_CREAT | O_APPEND;
        if (mode & std::ios_base::trunc) flags |= O_CREAT | O_TRUNC;
        mDescriptor = ::open(path, flags, 0666);
        if (mDescriptor >= 0 && (mode & std::ios_base::ate) &&
            ::lseek(mDescriptor, 0, SEEK_END) < 0) {
            close();
        }
        return mDescriptor >= 0;
    }
    void close()
    {
        if (mDescriptor < 0) return;
        writePending();
        ::close(mDescriptor);
        mDescriptor = -1;
    }

protected:
    int_type underflow() override
    {
        if (gptr() != egptr()) return traits_type::to_int_type(*gptr());
        if (!mReads) return traits_type::eof();
        prepareToRead();
        const ssize_t got = ::read(mDescriptor, &mAhead, 1);
        if (got < 0) fail();
        if (got == 0) return traits_type::eof();
        setg(&mAhead, &mAhead, &mAhead + 1);
        return traits_type::to_int_type(mAhead);
    }
    std::streamsize xsgetn(char* dst, std::streamsize size) override
    {
        if (size == 0 || traits_type::eq_int_type(underflow(), traits_type::eof())) return 0;
        dst[0] = mAhead;
        setg(nullptr, nullptr, nullptr);
        std::streamsize count = 1;
        while (count < size) {
            const ssize_t got =
                ::read(mDescriptor, dst + count, static_cast<std::size_t>(size - count));
            if (got < 0) fail();
            if (got == 0) break;
            count += got;
        }
        return count;
    }
    int_type overflow(int_type c) override
    {
        const char byte = traits_type::to_char_type(c);
        return xsputn(&byte, 1) == 1 ? c : traits_type::eof();
    }
    std::streamsize xsputn(const char* src, std::streamsize size) override
    {
        if (!mWrites || !dropAhead()) return 0;
        const auto count = static_cast<std::size_t>(size);
        if (count >= mCapacity) {
            if (!writePending()) return 0;
            mPending.assign(src, count);
            const bool isWritten = writePending();
            const auto rest = static_cast<std::streamsize>(mPending.size());
            mPending.clear();  // a large block is not buffered
            return isWritten ? size : size - rest;
        }
        std::size_t done = 0;
        while (done < count) {
            if (mPending.size() == mCapacity && !writePending()) break;
            const std::size_t step = std::min(count - done, mCapacity - mPending.size());
            mPending.append(src + done, step);
            done += step;
        }
        return static_cast<std::streamsize>(done);
    }
    pos_type seekoff(off_type offset, std::ios_base::seekdir from,
                     std::ios_base::openmode /*which*/) override
    {
        const off_type ahead = egptr() - gptr();
        if (offset == 0 && from == std::ios_base::cur) {
            const off_type position = ::lseek(mDescriptor, 0, SEEK_CUR);
            if (position < 0) return position;
            return position - ahead + static_cast<off_type>(mPending.size());
        }
        if (!writePending()) return off_type(-1);
        int whence = SEEK_END;
        if (from == std::ios_base::beg) whence = SEEK_SET;
        if (from == std::ios_base::cur) {
            whence = SEEK_CUR;
            offset -= ahead;
        }
        const off_type position = ::lseek(mDescriptor, offset, whence);
        if (position >= 0) setg(nullptr, nullptr, nullptr);
        return position;
    }
    pos_type seekpos(pos_type position, std::ios_base::openmode which) override
    {
        return seekoff(off_type(position), std::ios_base::beg, which);
    }
    int sync() override { return writePending() ? 0 : -1; }

private:
    [[noreturn]] static void fail()
    {
        throw std::ios_base::failure("plain", {errno, std::generic_category()});
    }
    void prepareToRead()
    {
        if (!writePending()) fail();
    }
    bool dropAhead()
    {
        const off_type ahead = egptr() - gptr();
        if (ahead != 0 && ::lseek(mDescriptor, -ahead, SEEK_CUR) < 0) return false;
        setg(nullptr, nullptr, nullptr);
        return true;
    }
    // What has been written is gone from the pending bytes, so no byte is written twice.
    bool writePending()
    {
        while (!mPending.empty()) {
            const ssize_t count = ::write(mDescriptor, mPending.data(), mPending.size());
            if (count <= 0) return false;
            mPending.erase(0, static_cast<std::size_t>(count));
        }
        return true;
    }

    std::size_t mCapacity;
    int mDescriptor = -1;
    bool mReads = false;
    bool mWrites = false;
    char mAhead = 0;
    std::string mPending;
};

}  // namespace qz
