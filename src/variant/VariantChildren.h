#pragma once

#include "VariantAccess.h"

namespace qz::variant {

/// Walks the values of a map or of a list, one level deep. Trees are walked with a stack of these
/// rather than by recursion, so that their depth is bounded by memory alone.
class Children {
public:
    explicit Children(const Map& map) : mIsMap(true), mEntry(map.begin()), mEntryEnd(map.end()) {}
    explicit Children(const List& list)
        : mIsMap(false),
          mElement(list.empty() ? nullptr : &list[0]),
          mElementEnd(mElement + list.size())
    {
    }
    /// Walks what a `MAP` or a `LIST` holds.
    explicit Children(const qzVariant& container)
        : Children(container.getType() == qzVariant::MAP ? Children(*container.getMap())
                                                         : Children(*container.getList()))
    {
    }

    bool isMap() const { return mIsMap; }
    bool atEnd() const { return mIsMap ? mEntry == mEntryEnd : mElement == mElementEnd; }
    /// The present key, of a map only.
    const std::string& key() const { return mEntry->first; }
    /// The present value.
    const qzVariant& value() const { return mIsMap ? mEntry->second : *mElement; }
    void advance()
    {
        if (mIsMap)
            ++mEntry;
        else
            ++mElement;
    }

private:
    bool mIsMap;
    Map::const_iterator mEntry;
    Map::const_iterator mEntryEnd;
    const qzVariant* mElement = nullptr;
    const qzVariant* mElementEnd = nullptr;
};

}  // namespace qz::variant
