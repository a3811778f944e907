// SPDX-License-Identifier: MIT
#include "VariantEntries.h"
#include "VariantTree.h"

namespace qz::variant {

namespace {

// Destroys containers one at a time. Before one is destroyed, the containers in it are moved to the
// lists of those that wait. So a tree of any depth is destroyed without recursion or allocation.
class TreeDestruction {
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
            if (mMaps != nullptr)
                destroy(std::unique_ptr<MapBox>(std::exchange(mMaps, mMaps->next)));
            else
                destroy(std::unique_ptr<ListBox>(std::exchange(mLists, mLists->next)));
        }
    }

private:
    void destroy(std::unique_ptr<MapBox> map)
    {
        const auto entries = std::exchange(VariantAccess::editEntries(*map), {});
        impl::destroyNodes(entries.root, [this](qzVariant& value) { detach(value); });
    }
    void destroy(std::unique_ptr<ListBox> list)
    {
        for (qzVariant& element : *list)
            detach(element);
    }
    void detach(qzVariant& child)
    {
        if (child.getType() == qzVariant::MAP) add(VariantAccess::takeMap(child));
        if (child.getType() == qzVariant::LIST) add(VariantAccess::takeList(child));
    }

    MapBox* mMaps = nullptr;
    ListBox* mLists = nullptr;
};

template <typename Box>
void destroyTreeOf(Box* box)
{
    TreeDestruction destruction;
    destruction.add(box);
    destruction.run();
}

}  // namespace

void destroyTree(MapBox* map) noexcept
{
    destroyTreeOf(map);
}

void destroyTree(ListBox* list) noexcept
{
    destroyTreeOf(list);
}

}  // namespace qz::variant
