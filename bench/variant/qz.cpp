// SPDX-License-Identifier: MIT
#include <qz/qzVariant.h>

#include "leaves.h"

namespace bench {

namespace {

using qz::qzVariant;
using Map = qzVariant::qzVariantMapImpl;

qzVariant toVariant(const Leaf& leaf)
{
    return std::visit([](const auto& value) { return qzVariant(value); }, leaf.value);
}

struct QzTree {
    static Map build(const std::vector<Leaf>& leaves)
    {
        Map tree;
        for (const Leaf& leaf : leaves)
            tree.editValuePath(leaf.path.c_str(), toVariant(leaf), '/');
        return tree;
    }
    static Map copy(const Map& tree) { return tree; }
    static bool areEqual(const Map& left, const Map& right) { return left == right; }
    static std::size_t countFound(const Map& tree, const std::vector<Leaf>& leaves)
    {
        std::size_t count = 0;
        for (const Leaf& leaf : leaves)
            count += tree.findPathImpl(leaf.path.c_str(), '/') != nullptr ? 1 : 0;
        return count;
    }
};

struct QzScalar {
    static std::vector<qzVariant> makeValues(const std::vector<Leaf>& leaves)
    {
        std::vector<qzVariant> values;
        for (const Leaf& leaf : leaves)
            values.push_back(toVariant(leaf));
        return values;
    }
    static std::size_t writeTexts(const std::vector<qzVariant>& values)
    {
        std::size_t size = 0;
        for (const qzVariant& value : values)
            size += value.toString().size();
        return size;
    }
    static std::size_t countNumbers(const std::vector<std::string>& texts)
    {
        std::size_t count = 0;
        for (const std::string& text : texts)
            count += qzVariant::BuildFromString(text).getType() != qzVariant::STRING ? 1 : 0;
        return count;
    }
};

TreeRows<QzTree> gTree("qz");
ScalarRows<QzScalar> gScalar("qz");

// How the time grows with the tree.
template <std::size_t Width>
void measureBuild(benchmark::State& state)
{
    const auto leaves = makeLeaves(sized(Width, 2));
    for (auto _ : state) {
        auto tree = QzTree::build(leaves);
        keep(tree);
    }
}

template <std::size_t Width>
void measureCopy(benchmark::State& state)
{
    const auto tree = QzTree::build(makeLeaves(sized(Width, 2)));
    for (auto _ : state) {
        auto copy = tree;
        keep(copy);
    }
}

const Case gSmallBuild("build by path, 1,000 leaves", "qz", measureBuild<10>);
const Case gLargeBuild("build by path, 91,125 leaves", "qz", measureBuild<45>);
const Case gSmallCopy("deep copy, 1,000 leaves", "qz", measureCopy<10>);
const Case gLargeCopy("deep copy, 91,125 leaves", "qz", measureCopy<45>);

}  // namespace

}  // namespace bench
