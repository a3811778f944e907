#include <qz/qzVariant.h>

#include "VariantNodes.h"
#include "VariantPath.h"
#include "VariantText.h"
#include "VariantTree.h"

namespace qz {

namespace {

constexpr std::size_t kFirstNodes = 2;

// The entry that a caller without a path edits, as a reference has to be returned.
constexpr std::string_view kFallbackKey = "avoidcrashkey";

}  // namespace

void impl::VariantAccess::setNodes(qzVariant::qzVariantMapImpl& map, VariantNodes* nodes)
{
    using Map = qzVariant::qzVariantMapImpl;
    map.mEntries = Map::Entries(Map::Allocator(nodes));
}

void impl::VariantAccess::copyEntries(const qzVariant::qzVariantMapImpl& source,
                                      qzVariant::qzVariantMapImpl& target)
{
    using Map = qzVariant::qzVariantMapImpl;
    target.mEntries = Map::Entries(source.mEntries, target.mEntries.get_allocator());
}

using Map = qzVariant::qzVariantMapImpl;

Map::qzVariantMapImpl() = default;

// These begin with a whole map, so that its destructor gives the nodes back when memory runs out.
Map::qzVariantMapImpl(std::initializer_list<value_type> entries) : qzVariantMapImpl()
{
    for (const auto& [key, value] : entries)
        if (count(key) == 0) (*this)[key] = value;
}

Map::qzVariantMapImpl(const qzVariantMapImpl& other) : qzVariantMapImpl()
{
    variant::copyChildren(other, *this);
}

Map::qzVariantMapImpl(qzVariantMapImpl&& other) noexcept
{
    mEntries.swap(other.mEntries);
}

Map::~qzVariantMapImpl()
{
    clear();
}

Map& Map::operator=(const qzVariantMapImpl& other)
{
    // The copy stands before anything goes, since `other` may be a part of this map.
    if (this != &other) *this = Map(other);
    return *this;
}

Map& Map::operator=(qzVariantMapImpl&& other) noexcept
{
    Map taken(std::move(other));
    mEntries.swap(taken.mEntries);
    return *this;
}

Map::iterator Map::find(std::string_view key)
{
    return mEntries.find(key);
}

Map::const_iterator Map::find(std::string_view key) const
{
    return mEntries.find(key);
}

qzVariant& Map::operator[](std::string_view key)
{
    const auto position = mEntries.lower_bound(key);
    if (position != mEntries.end() && position->first == key) return position->second;
    if (impl::VariantAccess::getNodes(*this) != nullptr)
        return mEntries.try_emplace(position, std::string(key))->second;
    impl::VariantAccess::setNodes(*this, impl::VariantNodes::create(kFirstNodes));
    return mEntries.try_emplace(mEntries.end(), std::string(key))->second;
}

Map::size_type Map::erase(std::string_view key)
{
    const auto position = mEntries.find(key);
    if (position == mEntries.end()) return 0;
    mEntries.erase(position);
    return 1;
}

Map::iterator Map::erase(const_iterator position)
{
    return mEntries.erase(position);
}

void Map::clear() noexcept
{
    // Values may look at this map again while they go.
    Entries old;
    old.swap(mEntries);
    old.clear();
    impl::VariantNodes::destroy(old.get_allocator().nodes);
}

const qzVariant* Map::findPathImpl(const char* path, char separator, PathSearchPolicy policy) const
{
    if (path == nullptr) return nullptr;
    const Map* map = this;
    for (variant::PathKeys keys(path, separator);; keys.advance()) {
        const auto entry = map->find(keys.key());
        if (entry == map->end()) return nullptr;
        const qzVariant& value = entry->second;
        if (keys.isLast()) return &value;
        map = value.getMap();
        const qzVariantListImpl* const list = value.getList();
        if (list != nullptr && policy == PathSearchFirstListElement && !list->empty())
            map = (*list)[0].getMap();
        if (map == nullptr) return nullptr;
    }
}

qzVariant* Map::findPathImpl(const char* path, char separator, bool create,
                             const qzVariant* newValue, PathSearchPolicy policy)
{
    if (!create)
        return const_cast<qzVariant*>(
            static_cast<const Map*>(this)->findPathImpl(path, separator, policy));
    if (path == nullptr) return nullptr;

    bool isNew = false;
    qzVariant displaced;  // `newValue` may be a part of it
    qzVariant& entry = variant::makeEntry(*this, path, separator, isNew, displaced);
    if (isNew && newValue != nullptr) entry = *newValue;
    return &entry;
}

qzVariant& Map::editValuePath(const char* path, const qzVariant& value, char separator)
{
    qzVariant* const entry =
        findPathImpl(path, separator, /*create=*/true, &value, PathSearchMapsOnly);
    return entry != nullptr ? *entry : (*this)[kFallbackKey];
}

void Map::getKeys(std::vector<std::string>& out) const
{
    out.clear();
    out.reserve(size());
    for (const auto& entry : mEntries)
        out.push_back(entry.first);
}

std::string Map::toString() const
{
    return variant::toText(*this);
}

bool Map::operator==(const qzVariantMapImpl& other) const
{
    return variant::areEqual(*this, other);
}

}  // namespace qz
