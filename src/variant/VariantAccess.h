#pragma once

#include <memory>

#include <qz/qzVariant.h>

#include "StringBoxes.h"

namespace qz {

namespace variant {

/// A map on the heap, as a variant owns it. The link strings maps together that wait for their end.
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

/// What the library's own code does with the inside of a variant.
struct impl::VariantAccess {
    using Type = qzVariant::Type;
    using Cell = qzVariant::Cell;

    static const Cell& getCell(const qzVariant& variant) { return variant.mCell; }
    static Cell& editCell(qzVariant& variant) { return variant.mCell; }
    static void setType(qzVariant& variant, Type type) { variant.mType = type; }

    /// Makes a `STRING` where its text will stay.
    static qzVariant makeString(std::string_view text)
    {
        qzVariant variant;
        variant.mCell.string = variant::makeString(text);
        variant.mType = qzVariant::STRING;
        return variant;
    }
    /// Hands a map over to a variant that owns nothing.
    static void giveMap(qzVariant& variant, std::unique_ptr<variant::MapBox> box)
    {
        variant.mCell.map = box.release();
        variant.mType = qzVariant::MAP;
    }
    /// Hands a list over to a variant that owns nothing.
    static void giveList(qzVariant& variant, std::unique_ptr<variant::ListBox> box)
    {
        variant.mCell.list = box.release();
        variant.mType = qzVariant::LIST;
    }

    /// Takes the map out of a `MAP` and leaves it empty.
    static variant::MapBox* takeMap(qzVariant& variant)
    {
        auto* const box = static_cast<variant::MapBox*>(variant.mCell.map);
        forget(variant);
        return box;
    }
    /// Takes the list out of a `LIST` and leaves it empty.
    static variant::ListBox* takeList(qzVariant& variant)
    {
        auto* const box = static_cast<variant::ListBox*>(variant.mCell.list);
        forget(variant);
        return box;
    }
    /// Takes what a `STRING` holds and leaves an empty one.
    static std::string takeString(qzVariant& variant)
    {
        return std::exchange(*variant.mCell.string, std::string());
    }
    /// The memory of the map's nodes; null before the first entry.
    static VariantNodes* getNodes(const qzVariant::qzVariantMapImpl& map)
    {
        return map.mEntries.get_allocator().nodes;
    }
    /// Gives memory to a map without entries that has none.
    static void setNodes(qzVariant::qzVariantMapImpl& map, VariantNodes* nodes);
    /// Copies the entries of another map into one without any, node by node.
    static void copyEntries(const qzVariant::qzVariantMapImpl& source,
                            qzVariant::qzVariantMapImpl& target);

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
