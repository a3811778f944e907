// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include <qz/qzVariant.h>

#include "StringPool.h"

namespace qz {

namespace variant {

/// A map on the heap, as a variant owns it. `next` links maps that wait for their destruction.
struct MapBox : qzVariant::qzVariantMapImpl {
    using qzVariantMapImpl::qzVariantMapImpl;

    MapBox* next = nullptr;
};

/// A list on the heap, as a variant owns it.
struct ListBox : qzVariant::qzVariantListImpl {
    using qzVariantListImpl::qzVariantListImpl;

    ListBox* next = nullptr;
};

}  // namespace variant

/// The access of the library's own code to the private parts of a variant.
struct impl::VariantAccess {
    using Type = qzVariant::Type;
    using Cell = qzVariant::Cell;

    static const Cell& getCell(const qzVariant& variant) { return variant.mCell; }
    static Cell& editCell(qzVariant& variant) { return variant.mCell; }
    static void setType(qzVariant& variant, Type type) { variant.mType = type; }

    /// Makes a `STRING` with one allocation at most, and without a move.
    static qzVariant makeString(std::string_view text)
    {
        qzVariant variant;
        variant.mCell.string = variant::makeString(text);
        variant.mType = qzVariant::STRING;
        return variant;
    }
    /// Gives a map to a variant that owns nothing.
    static void giveMap(qzVariant& variant, std::unique_ptr<variant::MapBox> box)
    {
        variant.mCell.map = box.release();
        variant.mType = qzVariant::MAP;
    }
    /// Gives a list to a variant that owns nothing.
    static void giveList(qzVariant& variant, std::unique_ptr<variant::ListBox> box)
    {
        variant.mCell.list = box.release();
        variant.mType = qzVariant::LIST;
    }

    /// Takes the map out of a `MAP` and leaves an empty variant.
    static variant::MapBox* takeMap(qzVariant& variant)
    {
        auto* const box = static_cast<variant::MapBox*>(variant.mCell.map);
        forget(variant);
        return box;
    }
    /// Takes the list out of a `LIST` and leaves an empty variant.
    static variant::ListBox* takeList(qzVariant& variant)
    {
        auto* const box = static_cast<variant::ListBox*>(variant.mCell.list);
        forget(variant);
        return box;
    }
    /// Takes the text out of a `STRING` and leaves an empty text.
    static std::string takeString(qzVariant& variant)
    {
        return std::exchange(*variant.mCell.string, std::string());
    }
    static const VariantEntries& getEntries(const qzVariant::qzVariantMapImpl& map)
    {
        return map.mEntries;
    }
    static VariantEntries& editEntries(qzVariant::qzVariantMapImpl& map) { return map.mEntries; }

private:
    static void forget(qzVariant& variant)
    {
        variant.mCell = Cell();
        variant.mType = qzVariant::UNKNOWN;
    }
};

namespace variant {

using impl::VariantAccess;
using Map = qzVariant::qzVariantMapImpl;
using List = qzVariant::qzVariantListImpl;

inline bool isContainer(const qzVariant& variant)
{
    return variant.getType() == qzVariant::MAP || variant.getType() == qzVariant::LIST;
}

}  // namespace variant

}  // namespace qz
