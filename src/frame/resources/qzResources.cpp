// SPDX-License-Identifier: MIT
#include <qz/qzResources.h>

#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include <qz/qzLogObject.h>
#include <qz/qzMutex.h>

#include "ResourceRegistry.h"
#include "concurrency/RecursiveMutex.h"
#include "frame/base/ForkProtocol.h"

namespace qz {

namespace {

constexpr unsigned long kDigestSize = 64;

struct Resource {
    const char* digest;  // of kDigestSize characters
    const char* data;
    unsigned long size;
};

struct Registry {
    std::map<std::string, Resource> entries;
    std::unique_ptr<qzMutex> mutex;  // null in the light state; destroyed before the entries
};

// Owned. A plain pointer without a destructor, since modules may be unloaded at exit after the
// objects of this file, while the library was never stopped.
Registry* gRegistry = nullptr;

// The loaded modules, with or without a registry. Created at the first use, since a module may be
// loaded first of all, and never freed, since a module may be unloaded last of all.
std::list<const rc::impl::Module*>& getModules()
{
    static auto* const modules = std::make_unique<std::list<const rc::impl::Module*>>().release();
    return *modules;
}

// Locks the registry's mutex, if there is one.
//
// Nothing is reported while it is locked: the handler of a report may look up a resource.
std::unique_lock<qzMutex> lockRegistry()
{
    if (gRegistry == nullptr || gRegistry->mutex == nullptr) return {};
    return std::unique_lock(*gRegistry->mutex);
}

// Reports the names for which a change of the registry was refused. It must be constructed before
// the lock, so that it reports after the lock is released.
class RefusedNames {
public:
    explicit RefusedNames(const char* text) : mText(text) {}
    ~RefusedNames()
    {
        for (const char* const name : mNames)
            logCritical() << mText << name;
    }
    RefusedNames(const RefusedNames&) = delete;
    RefusedNames& operator=(const RefusedNames&) = delete;

    void add(const char* name) { mNames.push_back(name); }

private:
    const char* mText;
    std::vector<const char*> mNames;
};

bool find(const std::string& name, Resource& found)
{
    const std::unique_lock<qzMutex> lock = lockRegistry();
    if (gRegistry == nullptr) return false;
    const auto entry = gRegistry->entries.find(name);
    if (entry == gRegistry->entries.end()) return false;
    found = entry->second;
    return true;
}

bool reportMissing(const char* name)
{
    logCritical() << "Resource is missing " << name;
    return false;
}

void prepareFork()
{
    if (gRegistry != nullptr && gRegistry->mutex != nullptr) gRegistry->mutex->lock();
}

void resumeParent()
{
    if (gRegistry != nullptr && gRegistry->mutex != nullptr) gRegistry->mutex->unlock();
}

// The child can't unlock the mutex, which knows its owner by the parent's thread id.
void resumeChild()
{
    if (gRegistry != nullptr && gRegistry->mutex != nullptr) renewAfterFork(*gRegistry->mutex);
}

}  // namespace

void createResourceRegistry(bool withMutex)
{
    if (gRegistry == nullptr) {
        gRegistry = std::make_unique<Registry>().release();
        for (const rc::impl::Module* const module : getModules()) {
            module->registerAll();
        }
    }
    if (!withMutex || gRegistry->mutex != nullptr) return;
    gRegistry->mutex = std::make_unique<qzMutex>();
    joinForkProtocol(ForkParticipant::Resources, {&prepareFork, &resumeParent, &resumeChild});
}

void destroyResourceRegistry()
{
    const std::unique_ptr<Registry> ended(std::exchange(gRegistry, nullptr));
}

namespace rc {

bool GetResource(const char* name, const char*& data, unsigned long& size)
{
    Resource found = {};
    const bool isFound = find(name, found);
    data = found.data;
    size = found.size;
    return isFound || reportMissing(name);
}

bool GetResource(const char* name, std::string& out)
{
    out.clear();
    Resource found = {};
    if (!find(name, found)) return reportMissing(name);
    out.append(found.data, found.size);
    return true;
}

bool GetResourceSha256Hex(const char* name, const char*& digest, unsigned long& size)
{
    Resource found = {};
    const bool isFound = find(name, found);
    digest = found.digest;
    size = isFound ? kDigestSize : 0;
    return isFound || reportMissing(name);
}

bool GetResourceSha256Hex(const char* name, std::string& out)
{
    out.clear();
    Resource found = {};
    if (!find(name, found)) return reportMissing(name);
    out.append(found.digest, kDigestSize);
    return true;
}

namespace impl {

void RegisterResources(unsigned long count, const char* blob, const char* const* names,
                       const char* const* digests, const unsigned long* sizes,
                       const unsigned long* offsets)
{
    RefusedNames refused(gRegistry != nullptr ? "Resource conflict "
                                              : "No start of qzSystem to register resource ");
    const std::unique_lock<qzMutex> lock = lockRegistry();
    for (unsigned long i = 0; i < count; ++i) {
        const Resource resource = {digests[i], blob + offsets[i], sizes[i]};
        if (gRegistry == nullptr || !gRegistry->entries.emplace(names[i], resource).second)
            refused.add(names[i]);
    }
}

void UnRegisterResources(unsigned long count, const char* /*blob*/, const char* const* names,
                         const char* const* /*digests*/, const unsigned long* /*sizes*/,
                         const unsigned long* /*offsets*/)
{
    RefusedNames refused("Resource is already unregistered ");
    const std::unique_lock<qzMutex> lock = lockRegistry();
    for (unsigned long i = 0; i < count; ++i) {
        const std::string name = names[i];
        if (gRegistry == nullptr || gRegistry->entries.erase(name) == 0) refused.add(names[i]);
    }
}

Module::Module(unsigned long count, const char* blob, const char* const* names,
               const char* const* digests, const unsigned long* sizes, const unsigned long* offsets)
    : mCount(count), mBlob(blob), mNames(names), mDigests(digests), mSizes(sizes), mOffsets(offsets)
{
    getModules().push_back(this);
    if (gRegistry != nullptr) registerAll();
}

Module::~Module()
{
    getModules().remove(this);
    if (gRegistry == nullptr) return;
    UnRegisterResources(mCount, mBlob, mNames, mDigests, mSizes, mOffsets);
}

void Module::registerAll() const
{
    RegisterResources(mCount, mBlob, mNames, mDigests, mSizes, mOffsets);
}

}  // namespace impl

}  // namespace rc

}  // namespace qz
