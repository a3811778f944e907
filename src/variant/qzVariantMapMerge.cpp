// SPDX-License-Identifier: MIT
// Insertion that keeps the values that are there, and flattening of trees.

#include <algorithm>
#include <stdexcept>
#include <vector>

#include <qz/qzVariant.h>

#include "VariantAccess.h"
#include "VariantChildren.h"

namespace qz {

namespace {

using Map = qzVariant::qzVariantMapImpl;
using List = qzVariant::qzVariantListImpl;
using variant::VariantAccess;

/// What is done with the value after it has been inserted.
enum class ValueUse {
    Kept,       // the caller sees what remains of it
    Discarded,  // it may be taken in any case
};

bool holdsStrings(const List& list)
{
    return std::all_of(list.begin(), list.end(),
                       [](const qzVariant& element) { return element.getString() != nullptr; });
}

// Adds `value` to the value of the same key, if they aren't two maps that are merged.
void join(qzVariant& old, qzVariant& value, bool keepApart, ValueUse use)
{
    List* const list = old.editList();
    const bool isString = value.getString() != nullptr;
    if (!keepApart && isString) {
        if (old.getString() != nullptr && *old.getString() == *value.getString()) {
            VariantAccess::takeString(value);
            return;
        }
        // The check takes time in proportion to the list. It only decides what remains of the
        // value.
        if (list != nullptr && (use == ValueUse::Discarded || holdsStrings(*list))) {
            list->emplace_back(VariantAccess::takeString(value));
            return;
        }
    }
    if (list != nullptr) {
        list->push_back(value);
        return;
    }
    List both;
    both.resize(2, qzVariant::sNullVariant);
    qzVariant joined(std::move(both));
    (*joined.editList())[0].swap(old);
    (*joined.editList())[1].swap(value);
    old.swap(joined);
}

// The entries of one map that are still to be merged into another one.
struct Merge {
    Map* into;
    Map::iterator next;
    Map::iterator end;
};

class Merger {
public:
    Merger(bool keepApart, ValueUse use) : mKeepApart(keepApart), mUse(use) {}

    void insert(Map& map, const std::string& key, qzVariant& value)
    {
        insertOne(map, key, value);
        while (!mMerges.empty()) {
            Merge& merge = mMerges.back();
            if (merge.next == merge.end) {
                mMerges.pop_back();
                continue;
            }
            auto& [nextKey, nextValue] = *merge.next++;
            insertOne(*merge.into, nextKey, nextValue);
        }
    }

private:
    void insertOne(Map& map, const std::string& key, qzVariant& value)
    {
        const std::size_t sizeBefore = map.size();
        qzVariant& old = map[key];
        if (map.size() != sizeBefore)
            old.swap(value);
        else if (&old == &value)
            return;  // the value is there already
        else if (!mKeepApart && old.editMap() != nullptr && value.editMap() != nullptr)
            mMerges.push_back({old.editMap(), value.editMap()->begin(), value.editMap()->end()});
        else
            join(old, value, mKeepApart, mUse);
    }

    const bool mKeepApart;
    const ValueUse mUse;
    std::vector<Merge> mMerges;
};

// Walks a tree with the path of the current level, which ends in a separator.
class Flattener {
public:
    Flattener(Map& out, char separator) : mOut(out), mSeparator(separator) {}

    void flatten(const Map& map)
    {
        mLevels.push_back({variant::Children(map), 0});
        while (!mLevels.empty()) {
            Level& level = mLevels.back();
            mPath.resize(level.pathSize);
            if (level.children.atEnd())
                mLevels.pop_back();
            else
                flattenNext(level);
        }
    }

private:
    struct Level {
        variant::Children children;
        std::size_t pathSize;
    };

    void flattenNext(Level& level)
    {
        const bool isMap = level.children.isMap();
        const qzVariant& value = level.children.value();
        if (isMap) mPath += level.children.key();
        level.children.advance();
        if (!variant::isContainer(value)) {
            mOut.multiInsert(mPath, value, /*keepApart=*/false);
            return;
        }
        // The elements of a list have the path of the list.
        if (isMap) mPath += mSeparator;
        mLevels.push_back({variant::Children(value), mPath.size()});
    }

    Map& mOut;
    const char mSeparator;
    std::string mPath;
    std::vector<Level> mLevels;
};

// Whether a map is one of those inside another one.
bool isInside(const Map& inner, const Map& outer)
{
    std::vector<variant::Children> levels{variant::Children(outer)};
    while (!levels.empty()) {
        if (levels.back().atEnd()) {
            levels.pop_back();
            continue;
        }
        const qzVariant& value = levels.back().value();
        levels.back().advance();
        if (value.getMap() == &inner) return true;
        if (variant::isContainer(value)) levels.emplace_back(value);
    }
    return false;
}

}  // namespace

void Map::multiInsertAndDestroy(const std::string& key, qzVariant& value, bool keepApart)
{
    Merger(keepApart, ValueUse::Kept).insert(*this, key, value);
}

void Map::multiInsert(const std::string& key, const qzVariant& value, bool keepApart)
{
    qzVariant copy(value);
    Merger(keepApart, ValueUse::Discarded).insert(*this, key, copy);
}

void Map::mergeWith(const qzVariantMapImpl& other, bool keepApart)
{
    for (const auto& [key, value] : other)
        multiInsert(key, value, keepApart);
}

void Map::toFlattenMap(qzVariantMapImpl& out, char separator) const
{
    if (&out != this) {
        if (isInside(out, *this))
            throw std::invalid_argument("a map is flattened into its own part");
        Flattener(out, separator).flatten(*this);
        return;
    }
    const Map copy(*this);
    Flattener(out, separator).flatten(copy);
}

}  // namespace qz
