#include "OwnDescriptor.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <memory>
#include <mutex>
#include <vector>

#include <pthread.h>
#include <unistd.h>

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
        const std::lock_guard<std::mutex> lock(mMutex);
        mDescriptors.reserve(mDescriptors.size() + 1);  // the one step that can throw
        const int descriptor = open();
        if (descriptor >= 0) mDescriptors.push_back(descriptor);
        return descriptor;
    }

    void close(int descriptor)
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        const auto found = std::find(mDescriptors.begin(), mDescriptors.end(), descriptor);
        *found = mDescriptors.back();
        mDescriptors.pop_back();
        ::close(descriptor);
    }

    unsigned int getForkCount() const { return mForkCount.load(std::memory_order_relaxed); }

private:
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

OwnDescriptor OwnDescriptor::Open(const std::function<int()>& open)
{
    Registry& registry = Registry::Get();
    OwnDescriptor opened;
    opened.mForkCount = registry.getForkCount();
    opened.mDescriptor = registry.add(open);
    return opened;
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
