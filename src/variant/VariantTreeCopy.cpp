// SPDX-License-Identifier: MIT
#include <algorithm>
#include <vector>

#include "StringPool.h"
#include "VariantEntries.h"
#include "VariantTree.h"

namespace qz::variant {

namespace {

std::unique_ptr<double[]> copyOfArray(const qzVariant& source)
{
    auto copy = std::make_unique_for_overwrite<double[]>(source.arraySize());
    std::copy_n(source.getArray(), source.arraySize(), copy.get());
    return copy;
}

// A container that was made empty, and what has to be copied into it.
struct Unfilled {
    const qzVariant* source;
    qzVariant* target;
};

class Copier {
public:
    // Copies a leaf. A container is made empty, and `run` fills it.
    void copy(const qzVariant& source, qzVariant& target);

    void fill(const Map& source, Map& target)
    {
        const impl::VariantEntries& from = VariantAccess::getEntries(source);
        impl::VariantEntries& to = VariantAccess::editEntries(target);
        impl::copyNodes(from.root, from.size, to, nullptr, &to.root,
                        [this](const qzVariant& value, qzVariant& made) { copy(value, made); });
    }
    void fill(const List& source, List& target)
    {
        target.reserve(source.size());
        for (const qzVariant& value : source)
            copy(value, target.emplace_back());
    }
    void run()
    {
        while (!mUnfilled.empty()) {
            const auto [source, target] = mUnfilled.back();
            mUnfilled.pop_back();
            if (source->getType() == qzVariant::MAP)
                fill(*source->getMap(), *target->editMap());
            else
                fill(*source->getList(), *target->editList());
        }
    }

private:
    std::vector<Unfilled> mUnfilled;
};

void Copier::copy(const qzVariant& source, qzVariant& target)
{
    auto& cell = VariantAccess::editCell(target);
    switch (source.getType()) {
        case qzVariant::UNKNOWN:
        case qzVariant::INTEGER:
        case qzVariant::REAL:
        case qzVariant::BOOL:
        case qzVariant::DATETIME:
            cell = VariantAccess::getCell(source);
            break;
        case qzVariant::STRING:
            cell.string = makeString(*source.getString());
            break;
        case qzVariant::VEC2D:
        case qzVariant::VEC3D:
        case qzVariant::VEC4D:
        case qzVariant::MAT3D:
        case qzVariant::MAT4D:
            cell.array = copyOfArray(source).release();
            break;
        case qzVariant::USERDATA:
            cell.user = source.getUserData() ? source.getUserData()->clone() : nullptr;
            break;
        case qzVariant::MAP:
            mUnfilled.push_back({&source, &target});
            VariantAccess::giveMap(target, std::make_unique<MapBox>());
            return;
        case qzVariant::LIST:
            mUnfilled.push_back({&source, &target});
            VariantAccess::giveList(target, std::make_unique<ListBox>());
            return;
        default:
            cell = {};
            VariantAccess::setType(target, qzVariant::UNKNOWN);
            return;
    }
    VariantAccess::setType(target, source.getType());
}

}  // namespace

void copyTree(const qzVariant& source, qzVariant& target)
{
    Copier copier;
    qzVariant copy;  // frees what was made, if memory runs out
    copier.copy(source, copy);
    copier.run();
    target.swap(copy);
}

void copyChildren(const Map& source, Map& target)
{
    Copier copier;
    copier.fill(source, target);
    copier.run();
}

void copyChildren(const List& source, List& target)
{
    Copier copier;
    copier.fill(source, target);
    copier.run();
}

}  // namespace qz::variant
