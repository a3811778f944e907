// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <limits>
#include <random>
#include <sstream>
#include <string>
#include <utility>

#include <qz/qzVariant.h>

namespace qz {

/// Makes random trees of few different values and keys, so that equal ones are frequent.
class TreeMaker {
public:
    explicit TreeMaker(unsigned int seed) : mRandom(seed) {}

    std::size_t draw(std::size_t bound) { return mRandom() % bound; }

    qzVariant makeLeaf()
    {
        constexpr double nan = std::numeric_limits<double>::quiet_NaN();
        const double numbers[] = {0.0, -0.0, 1.5, nan};
        const double array[] = {numbers[draw(3)], numbers[draw(4)]};
        const std::string texts[] = {"", "a", "b", "ab", std::string("a\0", 2), "\xff"};
        switch (draw(10)) {
            case 0:
                return qzVariant();
            case 1:
                return static_cast<long>(draw(3)) - 1;
            case 2:
                return numbers[draw(4)];
            case 3:
                return draw(2) == 0;
            case 4:
                return qzVariant(qzVariant::VEC2D, array);
            case 5:
                return qzVariant::DateTime(static_cast<long>(draw(2)));
            case 6:
                return qzVariant(static_cast<qzVariant::UserDataInterface*>(nullptr));
            default:
                return texts[draw(6)];
        }
    }

    qzVariant::qzVariantMapImpl makeMap(int depth)
    {
        const std::string keys[] = {"", "a", "b", "c", "a/", std::string("b\0", 2)};
        qzVariant::qzVariantMapImpl map;
        for (std::size_t count = draw(4); count != 0; --count)
            map[keys[draw(6)]] = makeTree(depth - 1);
        return map;
    }

    qzVariant::qzVariantListImpl makeList(int depth)
    {
        qzVariant::qzVariantListImpl list;
        for (std::size_t count = draw(4); count != 0; --count)
            list.push_back(makeTree(depth - 1));
        return list;
    }

    qzVariant makeTree(int depth)
    {
        const std::size_t kind = depth > 0 ? draw(4) : 0;
        if (kind == 1) return makeMap(depth);
        if (kind == 2) return makeList(depth);
        return makeLeaf();
    }

private:
    std::mt19937 mRandom;
};

/// A tree as text in which types can be told apart.
template <typename Tree>
std::string describe(const Tree& tree)
{
    std::ostringstream stream;
    stream << tree;
    return stream.str();
}

}  // namespace qz
