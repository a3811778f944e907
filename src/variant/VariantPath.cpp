#include "VariantPath.h"

#include "VariantAccess.h"

namespace qz::variant {

namespace {

// The map of an entry, in place of any other value.
Map& turnIntoMap(qzVariant& entry, qzVariant& displaced)
{
    if (entry.getType() != qzVariant::MAP) {
        if (!entry.isNull()) displaced.swap(entry);
        entry = Map();
    }
    return *entry.editMap();
}

}  // namespace

qzVariant& makeEntry(Map& map, std::string_view path, char separator, bool& isNew,
                     qzVariant& displaced)
{
    Map* level = &map;
    PathKeys keys(path, separator);
    for (; !keys.isLast(); keys.advance())
        level = &turnIntoMap((*level)[keys.key()], displaced);
    const std::size_t sizeBefore = level->size();
    qzVariant& entry = (*level)[keys.key()];
    isNew = level->size() != sizeBefore;
    return entry;
}

Map& makeMap(Map& map, std::string_view path, char separator)
{
    bool isNew = false;
    qzVariant displaced;
    return turnIntoMap(makeEntry(map, path, separator, isNew, displaced), displaced);
}

}  // namespace qz::variant
