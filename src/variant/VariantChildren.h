// SPDX-License-Identifier: MIT
#pragma once

#include "VariantAccess.h"
#include "VariantEntries.h"

namespace qz::variant {

/// Walks the values of a map or of a list, one level deep. A walk over a tree has a stack of these
/// and doesn't recurse, so that only memory limits the depth of trees.
class Children {
public:
    explicit Children(const Map& map)
        : mIsMap(true),
          mNode(impl::getOutermost(VariantAccess::getEntries(map).root, impl::Smaller))
    {
    }
    explicit Children(const List& list)
        : mIsMap(false),
          mElement(list.empty() ? nullptr : &list[0]),
          mElementEnd(mElement + list.size())
    {
    }
    /// Walks the values of a `MAP` or `LIST`.
    explicit Children(const qzVariant& container)
        : Children(container.getType() == qzVariant::MAP ? Children(*container.getMap())
                                                         : Children(*container.getList()))
    {
    }

    bool isMap() const { return mIsMap; }
    bool atEnd() const { return mIsMap ? mNode == nullptr : mElement == mElementEnd; }
    /// The current key, of a map only.
    const std::string& key() const { return mNode->entry.first; }
    /// The current value.
    const qzVariant& value() const { return mIsMap ? mNode->entry.second : *mElement; }
    void advance()
    {
        if (mIsMap)
            mNode = impl::getNeighbour(mNode, impl::Larger);
        else
            ++mElement;
    }

private:
    bool mIsMap;
    const impl::VariantNode* mNode = nullptr;
    const qzVariant* mElement = nullptr;
    const qzVariant* mElementEnd = nullptr;
};

}  // namespace qz::variant
