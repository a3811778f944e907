// SPDX-License-Identifier: MIT
#include <qz/qzVariant.h>

#include "VariantEntries.h"
#include "VariantPath.h"
#include "VariantText.h"
#include "VariantTree.h"

namespace qz {

namespace {

using Map = qzVariant::qzVariantMapImpl;

constexpr const char* kKeyOfNullPath = "avoidcrashkey";

Map::value_type* getEntry(impl::VariantNode* node)
{
    return node != nullptr ? &node->entry : nullptr;
}

}  // namespace

Map::qzVariantMapImpl() = default;

// Begins with a complete map, so that its destructor runs if memory runs out.
Map::qzVariantMapImpl(std::initializer_list<value_type> entries) : qzVariantMapImpl()
{
    insert(entries);
}

Map::qzVariantMapImpl(const qzVariantMapImpl& other) : qzVariantMapImpl()
{
    variant::copyChildren(other, *this);
}

Map::qzVariantMapImpl(qzVariantMapImpl&& other) noexcept
    : mEntries(std::exchange(other.mEntries, {}))
{
}

Map::~qzVariantMapImpl()
{
    clear();
}

Map& Map::operator=(const qzVariantMapImpl& other)
{
    // The copy comes first, since `other` may be a part of this map.
    if (this != &other) *this = Map(other);
    return *this;
}

Map& Map::operator=(qzVariantMapImpl&& other) noexcept
{
    Map taken(std::move(other));
    std::swap(mEntries, taken.mEntries);
    return *this;
}

Map::iterator Map::begin()
{
    return {&mEntries, getEntry(impl::getOutermost(mEntries.root, impl::Smaller))};
}

Map::const_iterator Map::begin() const
{
    return {&mEntries, getEntry(impl::getOutermost(mEntries.root, impl::Smaller))};
}

Map::value_type* Map::getNext(const value_type* entry)
{
    return getEntry(impl::getNeighbour(impl::getNodeOf(entry), impl::Larger));
}

Map::value_type* Map::getPrevious(const impl::VariantEntries& entries, const value_type* entry)
{
    return getEntry(entry != nullptr ? impl::getNeighbour(impl::getNodeOf(entry), impl::Smaller)
                                     : impl::getOutermost(entries.root, impl::Larger));
}

Map::iterator Map::find(std::string_view key)
{
    return {&mEntries, getEntry(impl::findNode(mEntries, key))};
}

Map::const_iterator Map::find(std::string_view key) const
{
    return {&mEntries, getEntry(impl::findNode(mEntries, key))};
}

qzVariant& Map::operator[](std::string_view key)
{
    return impl::findOrAddNode(mEntries, key).first->entry.second;
}

std::pair<Map::iterator, bool> Map::insert(const value_type& entry)
{
    const iterator existing = find(entry.first);
    if (existing != end()) return {existing, false};
    return insert(value_type(entry));
}

std::pair<Map::iterator, bool> Map::insert(value_type&& entry)
{
    const auto [node, isNew] = impl::findOrAddNode(mEntries, entry.first);
    if (isNew) node->entry.second = std::move(entry.second);
    return {iterator(&mEntries, &node->entry), isNew};
}

void Map::insert(std::initializer_list<value_type> entries)
{
    insert(entries.begin(), entries.end());
}

std::pair<Map::iterator, bool> Map::insert_or_assign(std::string_view key, qzVariant value)
{
    const auto [node, isNew] = impl::findOrAddNode(mEntries, key);
    node->entry.second = std::move(value);
    return {iterator(&mEntries, &node->entry), isNew};
}

Map::size_type Map::erase(std::string_view key)
{
    impl::VariantNode* const node = impl::findNode(mEntries, key);
    if (node == nullptr) return 0;
    impl::eraseNode(mEntries, node);
    return 1;
}

Map::iterator Map::erase(const_iterator position)
{
    impl::VariantNode* const node = impl::getNodeOf(&*position);
    const iterator next(&mEntries, getEntry(impl::getNeighbour(node, impl::Larger)));
    impl::eraseNode(mEntries, node);
    return next;
}

Map::iterator Map::erase(const_iterator first, const_iterator last)
{
    iterator position(&mEntries, first == end() ? nullptr : &impl::getNodeOf(&*first)->entry);
    while (position != last)
        position = erase(position);
    return position;
}

void Map::clear() noexcept
{
    // The destructor of a caller's object may use this map, which is empty by then.
    const impl::VariantEntries old = std::exchange(mEntries, {});
    impl::destroyNodes(old.root, [](const qzVariant& /*value*/) {});
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

    // Checked before the path is made: an empty value on it becomes a map.
    const bool hasValue = newValue != nullptr && !newValue->isNull();
    bool isNew = false;
    variant::ReplacedValue replaced;  // `newValue` may be this value, or a part of it
    qzVariant& entry = variant::makeEntry(*this, path, separator, isNew, replaced);
    if (isNew && hasValue) entry = replaced.getOld(*newValue);
    replaced.commit();
    return &entry;
}

qzVariant& Map::editValuePath(const char* path, const qzVariant& value, char separator)
{
    // Compatibility: callers without a path get a reference as well.
    if (path == nullptr) return (*this)[kKeyOfNullPath];
    return *findPathImpl(path, separator, /*create=*/true, &value, PathSearchMapsOnly);
}

void Map::getKeys(std::vector<std::string>& out) const
{
    out.clear();
    out.reserve(size());
    for (const auto& entry : *this)
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
