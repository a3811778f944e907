#include <algorithm>
#include <vector>

#include "StringBoxes.h"
#include "VariantNodes.h"
#include "VariantTree.h"

namespace qz::variant {

namespace {

std::unique_ptr<double[]> copyOfArray(const qzVariant& source)
{
    auto copy = std::make_unique_for_overwrite<double[]>(source.arraySize());
    std::copy_n(source.getArray(), source.arraySize(), copy.get());
    return copy;
}

// A container that was made empty and waits for its content.
struct Gap {
    const qzVariant* source;
    qzVariant* target;
};

class Copier final : private impl::VariantVisitor {
public:
    /// Copies a leaf; of a container the shell, whose content follows with `run`.
    void copy(const qzVariant& source, qzVariant& target) override;

    void fill(const Map& source, Map& target)
    {
        if (source.empty()) return;
        auto* const nodes = impl::VariantNodes::create(source.size());
        VariantAccess::setNodes(target, nodes);
        const impl::VisitorScope scope(*nodes, *this);
        VariantAccess::copyEntries(source, target);
    }
    void fill(const List& source, List& target)
    {
        target.reserve(source.size());
        for (const qzVariant& value : source)
            copy(value, target.emplace_back());
    }
    void run()
    {
        while (!mGaps.empty()) {
            const Gap gap = mGaps.back();
            mGaps.pop_back();
            if (gap.source->getType() == qzVariant::MAP)
                fill(*gap.source->getMap(), *gap.target->editMap());
            else
                fill(*gap.source->getList(), *gap.target->editList());
        }
    }

private:
    // What a failure leaves behind has nothing but leaves and shells.
    void detach(qzVariant& /*value*/) override {}

    std::vector<Gap> mGaps;
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
            mGaps.push_back({&source, &target});
            VariantAccess::giveMap(target, std::make_unique<MapBox>());
            return;
        case qzVariant::LIST:
            mGaps.push_back({&source, &target});
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
    qzVariant copy;  // so that a failure half-way frees what was made
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
