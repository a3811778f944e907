#include <qz/qzResources.h>

#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <utility>

#include <qz/qzLogObject.h>
#include <qz/qzMutex.h>

#include "ResourceRegistry.h"

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
    std::unique_ptr<qzMutex> mutex;  // null in the light state; goes ahead of the entries
};

// Owned. A plain pointer, so that modules which go at the exit of a process that never stopped the
// library still find the registry, wherever they were linked.
Registry* gRegistry = nullptr;

// The modules that are loaded, registry or not. Made at the first use, since modules may be loaded
// ahead of everything, and never freed, since they may be unloaded behind everything.
std::list<const rc::impl::Module*>& getModules()
{
    static auto* const modules = std::make_unique<std::list<const rc::impl::Module*>>().release();
    return *modules;
}

// Holds the registry's mutex, when there is one.
std::unique_lock<qzMutex> lockRegistry()
{
    if (gRegistry == nullptr || gRegistry->mutex == nullptr) return {};
    return std::unique_lock(*gRegistry->mutex);
}

void add(const char* name, const Resource& resource)
{
    if (gRegistry == nullptr) {
        logCritical() << "No start of qzSystem to register resource " << name;
        return;
    }
    if (gRegistry->entries.emplace(name, resource).second) return;
    logCritical() << "Resource conflict " << name;
}

void remove(const char* name)
{
    const std::string key = name;
    if (gRegistry != nullptr && gRegistry->entries.erase(key) != 0) return;
    logCritical() << "Resource is already unregistered " << name;
}

bool find(const std::string& name, Resource& found)
{
    const std::unique_lock<qzMutex> lock = lockRegistry();
    if (gRegistry == nullptr) return false;
    const auto entry = gRegistry->entries.find(name);
    if (entry == gRegistry->entries.end()) return false;
    found = entry->second;
    return true;
}

// Once the lock has gone, so that what handles the report may look resources up itself.
bool reportMissing(const char* name)
{
    logCritical() << "Resource is missing " << name;
    return false;
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
    if (withMutex && gRegistry->mutex == nullptr) gRegistry->mutex = std::make_unique<qzMutex>();
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
    const std::unique_lock<qzMutex> lock = lockRegistry();
    for (unsigned long i = 0; i < count; ++i) {
        add(names[i], {digests[i], blob + offsets[i], sizes[i]});
    }
}

void UnRegisterResources(unsigned long count, const char* /*blob*/, const char* const* names,
                         const char* const* /*digests*/, const unsigned long* /*sizes*/,
                         const unsigned long* /*offsets*/)
{
    const std::unique_lock<qzMutex> lock = lockRegistry();
    for (unsigned long i = 0; i < count; ++i) {
        remove(names[i]);
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
