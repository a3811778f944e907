// SPDX-License-Identifier: MIT
#include <cstring>
#include <vector>

#include "VariantChildren.h"
#include "VariantTree.h"

namespace qz::variant {

namespace {

template <typename T>
int compareValues(const T& left, const T& right)
{
    if (left < right) return -1;
    return right < left ? 1 : 0;
}

int compareBytes(const qzVariant& left, const qzVariant& right)
{
    return std::memcmp(left.getArray(), right.getArray(), left.arraySize() * sizeof(double));
}

// A rule compares two leaves or two levels of the same type. A result other than 0 ends the walk.

struct Equality {
    static int ofLeaves(const qzVariant& left, const qzVariant& right)
    {
        return isEqual(left, right) ? 0 : 1;
    }
    template <typename Container>
    static int ofSizes(const Container& left, const Container& right)
    {
        return left.size() == right.size() ? 0 : 1;
    }
    static int ofKeys(const std::string& left, const std::string& right)
    {
        return left == right ? 0 : 1;
    }
    static int ofTypes(const qzVariant& /*left*/, const qzVariant& /*right*/) { return 1; }

private:
    static bool isEqual(const qzVariant& left, const qzVariant& right)
    {
        const auto& leftCell = VariantAccess::getCell(left);
        const auto& rightCell = VariantAccess::getCell(right);
        switch (left.getType()) {
            case qzVariant::UNKNOWN:
                return true;
            case qzVariant::INTEGER:
            case qzVariant::DATETIME:
                return leftCell.integer == rightCell.integer;
            case qzVariant::REAL:
                return leftCell.real == rightCell.real;
            case qzVariant::BOOL:
                return leftCell.boolean == rightCell.boolean;
            case qzVariant::STRING:
                return *leftCell.string == *rightCell.string;
            case qzVariant::VEC2D:
            case qzVariant::VEC3D:
            case qzVariant::VEC4D:
            case qzVariant::MAT3D:
            case qzVariant::MAT4D:
                return compareBytes(left, right) == 0;
            case qzVariant::USERDATA:
                if (leftCell.user == nullptr || rightCell.user == nullptr)
                    return leftCell.user == rightCell.user;
                return leftCell.user->isEqual(rightCell.user);
            default:
                return false;
        }
    }
};

struct Ordering {
    static int ofLeaves(const qzVariant& left, const qzVariant& right)
    {
        const auto& leftCell = VariantAccess::getCell(left);
        const auto& rightCell = VariantAccess::getCell(right);
        switch (left.getType()) {
            case qzVariant::INTEGER:
            case qzVariant::DATETIME:
                return compareValues(leftCell.integer, rightCell.integer);
            case qzVariant::REAL:
                return compareValues(leftCell.real, rightCell.real);
            case qzVariant::BOOL:
                return compareValues(leftCell.boolean, rightCell.boolean);
            case qzVariant::STRING:
                return leftCell.string->compare(*rightCell.string);
            case qzVariant::VEC2D:
            case qzVariant::VEC3D:
            case qzVariant::VEC4D:
            case qzVariant::MAT3D:
            case qzVariant::MAT4D:
                return compareBytes(left, right);
            case qzVariant::USERDATA:
                return compareValues(reinterpret_cast<std::size_t>(leftCell.user),
                                     reinterpret_cast<std::size_t>(rightCell.user));
            default:
                return 0;
        }
    }
    // The sizes only count after the last common element.
    template <typename Container>
    static int ofSizes(const Container& /*left*/, const Container& /*right*/)
    {
        return 0;
    }
    static int ofKeys(const std::string& left, const std::string& right)
    {
        return left.compare(right);
    }
    static int ofTypes(const qzVariant& left, const qzVariant& right)
    {
        return compareValues(left.getType(), right.getType());
    }
};

template <typename Rule>
class Comparison {
public:
    int compare(const qzVariant& left, const qzVariant& right)
    {
        const int result = compareHeads(left, right);
        return result != 0 ? result : run();
    }
    template <typename Container>
    int compare(const Container& left, const Container& right)
    {
        const int result = descend(left, right);
        return result != 0 ? result : run();
    }

private:
    struct Level {
        Children left;
        Children right;
    };

    // Compares two values, except the content of containers, which becomes a level of its own.
    int compareHeads(const qzVariant& left, const qzVariant& right)
    {
        if (left.getType() != right.getType()) return Rule::ofTypes(left, right);
        if (left.getType() == qzVariant::MAP) return descend(*left.getMap(), *right.getMap());
        if (left.getType() == qzVariant::LIST) return descend(*left.getList(), *right.getList());
        return Rule::ofLeaves(left, right);
    }

    template <typename Container>
    int descend(const Container& left, const Container& right)
    {
        const int result = Rule::ofSizes(left, right);
        if (result == 0) mLevels.push_back({Children(left), Children(right)});
        return result;
    }

    int run()
    {
        while (!mLevels.empty()) {
            Level& level = mLevels.back();
            const bool leftEnds = level.left.atEnd();
            const bool rightEnds = level.right.atEnd();
            if (leftEnds && rightEnds) {
                mLevels.pop_back();
                continue;
            }
            if (leftEnds != rightEnds) return leftEnds ? -1 : 1;
            const int result = compareNext(level);
            if (result != 0) return result;
        }
        return 0;
    }

    // If both values are containers, `level` is invalid afterwards.
    int compareNext(Level& level)
    {
        if (level.left.isMap()) {
            const int result = Rule::ofKeys(level.left.key(), level.right.key());
            if (result != 0) return result;
        }
        const qzVariant& left = level.left.value();
        const qzVariant& right = level.right.value();
        level.left.advance();
        level.right.advance();
        return compareHeads(left, right);
    }

    std::vector<Level> mLevels;
};

}  // namespace

bool areEqual(const qzVariant& left, const qzVariant& right)
{
    return Comparison<Equality>().compare(left, right) == 0;
}

bool areEqual(const Map& left, const Map& right)
{
    return Comparison<Equality>().compare(left, right) == 0;
}

bool areEqual(const List& left, const List& right)
{
    return Comparison<Equality>().compare(left, right) == 0;
}

int order(const qzVariant& left, const qzVariant& right)
{
    return Comparison<Ordering>().compare(left, right);
}

}  // namespace qz::variant
