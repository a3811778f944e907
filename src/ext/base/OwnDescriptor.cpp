// SPDX-License-Identifier: MIT
#include "OwnDescriptor.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <memory>
#include <mutex>
#include <vector>

#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

#include "CancellationBlock.h"
#include "FileDescriptor.h"

namespace qz::ext {

namespace {

// All descriptors of the process that a child must not have.
class Registry {
public:
    // Never destroyed, because objects of the program may be closed after it.
    static Registry& Get()
    {
        static Registry& instance = *std::make_unique<Registry>().release();
        return instance;
    }

    Registry()
    {
        ::pthread_atfork([] { Get().mMutex.lock(); }, [] { Get().mMutex.unlock(); },
                         [] { Get().abandon(); });
    }

    int add(const std::function<int()>& open)
    {
        const CancellationBlock noCancellation;
        const std::lock_guard<std::mutex> lock(mMutex);
        reserve(1);
        return addOpened(open());
    }

    bool addPipe(int& read, int& write)
    {
        const CancellationBlock noCancellation;
        const std::lock_guard<std::mutex> lock(mMutex);
        reserve(2);
        int ends[2];
        if (::pipe2(ends, O_CLOEXEC) != 0) return false;
        read = addOpened(ends[0]);
        write = addOpened(ends[1]);
        return read >= 0 && write >= 0;
    }

    void close(int descriptor)
    {
        const CancellationBlock noCancellation;
        const std::lock_guard<std::mutex> lock(mMutex);
        const auto found = std::find(mDescriptors.begin(), mDescriptors.end(), descriptor);
        *found = mDescriptors.back();
        mDescriptors.pop_back();
        ::close(descriptor);
    }

    unsigned int getForkCount() const { return mForkCount.load(std::memory_order_relaxed); }

private:
    // The one step that can throw, so it comes before there is a descriptor.
    void reserve(std::size_t more)
    {
        const std::size_t size = mDescriptors.size() + more;
        if (size > mDescriptors.capacity()) mDescriptors.reserve(2 * size);
    }

    int addOpened(int descriptor)
    {
        descriptor = moveAboveStreams(descriptor);
        if (descriptor >= 0) mDescriptors.push_back(descriptor);
        return descriptor;
    }

    // Runs in a new child, so it must neither allocate nor wait.
    void abandon()
    {
        for (const int descriptor : mDescriptors)
            ::close(descriptor);
        mDescriptors.clear();
        mForkCount.fetch_add(1, std::memory_order_relaxed);
        mMutex.unlock();
    }

    std::mutex mMutex;
    std::vector<int> mDescriptors;  // guarded by mMutex
    std::atomic<unsigned int> mForkCount = 0;
};

}  // namespace

OwnDescriptor::OwnDescriptor(int descriptor)
    : mDescriptor(descriptor), mForkCount(Registry::Get().getForkCount())
{
}

OwnDescriptor OwnDescriptor::Open(const std::function<int()>& open)
{
    return OwnDescriptor(Registry::Get().add(open));
}

bool OwnDescriptor::OpenPipe(OwnDescriptor& read, OwnDescriptor& write)
{
    int readEnd = -1;
    int writeEnd = -1;
    const bool isOpen = Registry::Get().addPipe(readEnd, writeEnd);
    read = OwnDescriptor(readEnd);
    write = OwnDescriptor(writeEnd);
    return isOpen;
}

OwnDescriptor::~OwnDescriptor()
{
    if (!isOpen()) return;
    const int savedErrno = errno;
    Registry::Get().close(mDescriptor);
    errno = savedErrno;
}

int OwnDescriptor::get() const
{
    if (mDescriptor < 0 || mForkCount != Registry::Get().getForkCount()) return -1;
    return mDescriptor;
}

}  // namespace qz::ext
