#include <qz/qzVariant.h>

#include "VariantPath.h"
#include "VariantText.h"
#include "VariantTree.h"

namespace qz {

namespace {

// The entry that a caller without a path edits, as a reference has to be returned.
constexpr std::string_view kFallbackKey = "avoidcrashkey";

}  // namespace

using Map = qzVariant::qzVariantMapImpl;

Map::qzVariantMapImpl() = default;

Map::qzVariantMapImpl(std::initializer_list<value_type> entries) : mEntries(entries) {}

Map::qzVariantMapImpl(const qzVariantMapImpl& other)
{
    variant::copyChildren(other, *this);
}

Map::qzVariantMapImpl(qzVariantMapImpl&& other) noexcept : mEntries(std::move(other.mEntries))
{
    other.mEntries.clear();
}

Map::~qzVariantMapImpl() = default;

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

qzVariant& Map::operator[](std::string_view key)
{
    const auto position = mEntries.lower_bound(key);
    if (position != mEntries.end() && position->first == key) return position->second;
    return mEntries.emplace_hint(position, key, sNullVariant)->second;
}

Map::size_type Map::erase(std::string_view key)
{
    const auto position = mEntries.find(key);
    if (position == mEntries.end()) return 0;
    mEntries.erase(position);
    return 1;
}

void Map::clear() noexcept
{
    mEntries.clear();
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
