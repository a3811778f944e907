#include "VariantNodes.h"
#include "VariantTree.h"

namespace qz::variant {

namespace {

// Takes containers apart one at a time: the containers in it are strung onto the waiting ones
// before it goes, so each goes without children, and the depth of a tree costs neither stack nor
// memory.
class Demolition final : private impl::VariantVisitor {
public:
    void add(MapBox* map)
    {
        map->next = mMaps;
        mMaps = map;
    }
    void add(ListBox* list)
    {
        list->next = mLists;
        mLists = list;
    }

    void run()
    {
        while (mMaps != nullptr || mLists != nullptr) {
            if (mMaps != nullptr) {
                const std::unique_ptr<MapBox> map(std::exchange(mMaps, mMaps->next));
                if (auto* const nodes = VariantAccess::getNodes(*map)) nodes->visitor = this;
            } else {
                const std::unique_ptr<ListBox> list(std::exchange(mLists, mLists->next));
                for (qzVariant& element : *list)
                    detach(element);
            }
        }
    }

private:
    void copy(const qzVariant& /*source*/, qzVariant& /*target*/) override {}
    void detach(qzVariant& child) override
    {
        if (child.getType() == qzVariant::MAP) add(VariantAccess::takeMap(child));
        if (child.getType() == qzVariant::LIST) add(VariantAccess::takeList(child));
    }

    MapBox* mMaps = nullptr;
    ListBox* mLists = nullptr;
};

template <typename Box>
void demolish(Box* box)
{
    Demolition demolition;
    demolition.add(box);
    demolition.run();
}

}  // namespace

void destroyTree(MapBox* map) noexcept
{
    demolish(map);
}

void destroyTree(ListBox* list) noexcept
{
    demolish(list);
}

}  // namespace qz::variant
