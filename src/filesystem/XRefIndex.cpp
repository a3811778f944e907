#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <functional>

#include <qz/qzXRefResolverSearchPath.h>

#include "XRefVersions.h"

namespace qz {

namespace {

constexpr std::size_t kSmallestTable = 64;
constexpr std::uint64_t kPositionMask = 0xffffffff;

// A slot that is in use is never 0.
std::uint64_t makeSlot(std::size_t hash, std::size_t position)
{
    return (hash & ~kPositionMask) | (position + 1);
}

std::size_t getPosition(std::uint64_t slot)
{
    return (slot & kPositionMask) - 1;
}

// The number behind the name and the byte that parts them; 0 where there is none.
long readVersion(const std::string& key, std::size_t nameSize)
{
    return key.size() > nameSize ? std::strtol(key.c_str() + nameSize + 1, nullptr, 10) : 0;
}

}  // namespace

std::vector<const qzXRefResolverSearchPath::Index::Name*>
qzXRefResolverSearchPath::Index::getNamesByKey() const
{
    std::vector<const Name*> names;
    names.reserve(mNames.size());
    for (const Name& name : mNames)
        names.push_back(&name);
    std::sort(names.begin(), names.end(),
              [](const Name* left, const Name* right) { return left->key < right->key; });
    return names;
}

std::size_t qzXRefResolverSearchPath::Index::countFiles() const
{
    std::size_t count = 0;
    for (const Name& name : mNames)
        count += name.entries.size();
    return count;
}

bool qzXRefResolverSearchPath::Index::operator==(const Index& other) const
{
    if (mNames.size() != other.mNames.size()) return false;
    return std::all_of(mNames.begin(), mNames.end(), [&other](const Name& name) {
        const Entries* const entries = other.find(name.key);
        return entries != nullptr && *entries == name.entries;
    });
}

const qzXRefResolverSearchPath::Entries* qzXRefResolverSearchPath::Index::find(
    const std::string& key) const
{
    if (mTable.empty()) return nullptr;
    const std::uint64_t found = mTable[findSlot(key, std::hash<std::string>()(key))];
    return found == 0 ? nullptr : &mNames[getPosition(found)].entries;
}

qzXRefResolverSearchPath::Entries& qzXRefResolverSearchPath::Index::edit(const std::string& key)
{
    if (mTable.size() <= 2 * mNames.size()) growTable();
    const std::size_t hash = std::hash<std::string>()(key);
    std::uint64_t& slot = mTable[findSlot(key, hash)];
    if (slot == 0) {
        mNames.push_back({key, {}});
        slot = makeSlot(hash, mNames.size() - 1);
    }
    return mNames[getPosition(slot)].entries;
}

void qzXRefResolverSearchPath::Index::clear()
{
    *this = Index();
}

// The slot that holds the name, or the free one where it belongs. There always is a free one.
std::size_t qzXRefResolverSearchPath::Index::findSlot(const std::string& key,
                                                      std::size_t hash) const
{
    const std::size_t mask = mTable.size() - 1;
    for (std::size_t i = hash & mask;; i = (i + 1) & mask) {
        const std::uint64_t found = mTable[i];
        if (found == 0) return i;
        const bool isLike = ((found ^ hash) & ~kPositionMask) == 0;
        if (isLike && mNames[getPosition(found)].key == key) return i;
    }
}

void qzXRefResolverSearchPath::Index::growTable()
{
    std::vector<std::uint64_t>(std::max(kSmallestTable, mTable.size() * 2)).swap(mTable);
    for (std::size_t position = 0; position != mNames.size(); ++position) {
        const std::string& key = mNames[position].key;
        const std::size_t hash = std::hash<std::string>()(key);
        mTable[findSlot(key, hash)] = makeSlot(hash, position);
    }
}

qzXRefResolverSearchPath::Index::Order qzXRefResolverSearchPath::Index::makeVersionOrder() const
{
    Order order;
    for (std::size_t position = 0; position != mNames.size(); ++position) {
        if (filesystem::hasVersions(mNames[position].key))
            order.push_back(static_cast<unsigned int>(position));
    }
    std::sort(order.begin(), order.end(), [this](unsigned int left, unsigned int right) {
        return mNames[left].key < mNames[right].key;
    });
    return order;
}

void qzXRefResolverSearchPath::Index::sortVersions()
{
    mVersions = makeVersionOrder();
    mSortedCount = mNames.size();
}

// Keys that begin with this one follow each other. A zero byte ends a key here.
const qzXRefResolverSearchPath::Entries* qzXRefResolverSearchPath::Index::findLastVersion(
    const std::string& key) const
{
    // A build that an exception ended has left names without an order.
    const bool isSorted = mSortedCount == mNames.size();
    const Order ownOrder = isSorted ? Order() : makeVersionOrder();
    const Order& order = isSorted ? mVersions : ownOrder;
    const auto isBefore = [this](unsigned int position, const char* text) {
        return mNames[position].key < text;
    };
    const Entries* last = nullptr;
    long lastVersion = 0;
    auto it = std::lower_bound(order.begin(), order.end(), key.c_str(), isBefore);
    for (; it != order.end(); ++it) {
        const Name& name = mNames[*it];
        if (std::strncmp(key.c_str(), name.key.c_str(), key.size()) != 0) break;
        const long version = readVersion(name.key, key.size());
        if (last != nullptr && version <= lastVersion) continue;
        last = &name.entries;
        lastVersion = version;
    }
    return last;
}

}  // namespace qz
