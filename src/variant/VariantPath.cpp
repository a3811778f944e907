// SPDX-License-Identifier: MIT
#include "VariantPath.h"

#include "VariantAccess.h"
#include "VariantEntries.h"

namespace qz::variant {

namespace {

Map& turnIntoMap(qzVariant& value, ReplacedValue& replaced)
{
    if (value.getType() != qzVariant::MAP) replaced.replaceByMap(value);
    return *value.editMap();
}

}  // namespace

void ReplacedValue::replaceByMap(qzVariant& value)
{
    auto map = std::make_unique<MapBox>();
    if (!value.isNull()) {
        mValue.swap(value);
        mPlace = &value;
    }
    VariantAccess::giveMap(value, std::move(map));
}

qzVariant& makeEntry(Map& map, std::string_view path, char separator, bool& isNew,
                     ReplacedValue& replaced)
{
    Map* level = &map;
    PathKeys keys(path, separator);
    for (; !keys.isLast(); keys.advance())
        level = &turnIntoMap((*level)[keys.key()], replaced);
    const auto entry = impl::findOrAddNode(VariantAccess::editEntries(*level), keys.key());
    isNew = entry.second;
    return entry.first->entry.second;
}

Map& makeMap(Map& map, std::string_view path, char separator)
{
    bool isNew = false;
    ReplacedValue replaced;
    Map& made = turnIntoMap(makeEntry(map, path, separator, isNew, replaced), replaced);
    replaced.commit();
    return made;
}

}  // namespace qz::variant
