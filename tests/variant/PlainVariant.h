// SPDX-License-Identifier: MIT
#pragma once

#include <cstring>
#include <sstream>
#include <string>
#include <utility>

#include <qz/qzVariant.h>

/// The rules of variants in their plain, recursive form, against which the library's own roads are
/// held. For trees of a few levels only.
namespace qz::plain {

using Map = qzVariant::qzVariantMapImpl;
using List = qzVariant::qzVariantListImpl;

inline int compareArrays(const qzVariant& left, const qzVariant& right)
{
    return std::memcmp(left.getArray(), right.getArray(), left.arraySize() * sizeof(double));
}

inline bool isEqual(const qzVariant& left, const qzVariant& right)
{
    if (left.getType() != right.getType()) return false;
    switch (left.getType()) {
        case qzVariant::UNKNOWN:
            return true;
        case qzVariant::INTEGER:
        case qzVariant::DATETIME:
        case qzVariant::BOOL:
            return left.toInteger() == right.toInteger();
        case qzVariant::REAL:
            return left.toReal() == right.toReal();
        case qzVariant::STRING:
            return *left.getString() == *right.getString();
        case qzVariant::VEC2D:
        case qzVariant::VEC3D:
        case qzVariant::VEC4D:
        case qzVariant::MAT3D:
        case qzVariant::MAT4D:
            return compareArrays(left, right) == 0;
        case qzVariant::MAP: {
            if (left.getMap()->size() != right.getMap()->size()) return false;
            auto it = right.getMap()->begin();
            for (const auto& [key, value] : *left.getMap()) {
                if (key != it->first || !isEqual(value, it->second)) return false;
                ++it;
            }
            return true;
        }
        case qzVariant::LIST: {
            if (left.getList()->size() != right.getList()->size()) return false;
            for (std::size_t i = 0; i < left.getList()->size(); ++i) {
                if (!isEqual((*left.getList())[i], (*right.getList())[i])) return false;
            }
            return true;
        }
        case qzVariant::USERDATA:
            if (left.getUserData() == nullptr || right.getUserData() == nullptr)
                return left.getUserData() == right.getUserData();
            return left.getUserData()->isEqual(right.getUserData());
        default:
            return false;
    }
}

bool isLess(const qzVariant& left, const qzVariant& right);

/// 1 for yes, 0 for no, -1 for undecided.
inline int isPairLess(const std::string& leftKey, const qzVariant& left,
                      const std::string& rightKey, const qzVariant& right)
{
    if (leftKey < rightKey) return 1;
    if (rightKey < leftKey) return 0;
    if (isLess(left, right)) return 1;
    if (isLess(right, left)) return 0;
    return -1;
}

inline bool isMapLess(const Map& left, const Map& right)
{
    auto leftIt = left.begin();
    auto rightIt = right.begin();
    for (; leftIt != left.end() && rightIt != right.end(); ++leftIt, ++rightIt) {
        const int verdict =
            isPairLess(leftIt->first, leftIt->second, rightIt->first, rightIt->second);
        if (verdict >= 0) return verdict == 1;
    }
    return leftIt == left.end() && rightIt != right.end();
}

inline bool isListLess(const List& left, const List& right)
{
    for (std::size_t i = 0; i < left.size() && i < right.size(); ++i) {
        const int verdict = isPairLess({}, left[i], {}, right[i]);
        if (verdict >= 0) return verdict == 1;
    }
    return left.size() < right.size();
}

inline bool isLess(const qzVariant& left, const qzVariant& right)
{
    if (left.getType() != right.getType()) return left.getType() < right.getType();
    switch (left.getType()) {
        case qzVariant::INTEGER:
        case qzVariant::DATETIME:
        case qzVariant::BOOL:
            return left.toInteger() < right.toInteger();
        case qzVariant::REAL:
            return left.toReal() < right.toReal();
        case qzVariant::STRING:
            return *left.getString() < *right.getString();
        case qzVariant::VEC2D:
        case qzVariant::VEC3D:
        case qzVariant::VEC4D:
        case qzVariant::MAT3D:
        case qzVariant::MAT4D:
            return compareArrays(left, right) < 0;
        case qzVariant::MAP:
            return isMapLess(*left.getMap(), *right.getMap());
        case qzVariant::LIST:
            return isListLess(*left.getList(), *right.getList());
        case qzVariant::USERDATA:
            return reinterpret_cast<std::size_t>(left.getUserData()) <
                   reinterpret_cast<std::size_t>(right.getUserData());
        default:
            return false;
    }
}

/// The mirror image of `isLess`, for every type.
inline bool isGreater(const qzVariant& left, const qzVariant& right)
{
    return isLess(right, left);
}

inline std::string toText(const qzVariant& value)
{
    std::ostringstream stream;
    switch (value.getType()) {
        case qzVariant::INTEGER:
        case qzVariant::DATETIME:
            stream << value.toInteger();
            break;
        case qzVariant::REAL:
            stream << value.toReal();
            break;
        case qzVariant::STRING:
            return *value.getString();
        case qzVariant::BOOL:
            return value.toBool() ? "true" : "false";
        case qzVariant::VEC2D:
        case qzVariant::VEC3D:
        case qzVariant::VEC4D:
        case qzVariant::MAT3D:
        case qzVariant::MAT4D:
            for (std::size_t i = 0; i < value.arraySize(); ++i)
                stream << (i == 0 ? "[" : ",") << value.getArray()[i];
            stream << "]";
            break;
        case qzVariant::MAP: {
            const char* separator = "";
            for (const auto& [key, child] : *value.getMap()) {
                stream << separator << "(" << key << "=" << toText(child) << ")";
                separator = ",";
            }
            break;
        }
        case qzVariant::LIST: {
            const char* separator = "";
            for (const qzVariant& child : *value.getList()) {
                stream << separator << toText(child);
                separator = " ";
            }
            break;
        }
        default:
            break;
    }
    return stream.str();
}

inline bool holdsOnlyStrings(const List& list)
{
    for (const qzVariant& element : list) {
        if (element.getType() != qzVariant::STRING) return false;
    }
    return true;
}

inline void multiInsertAndDestroy(Map& map, const std::string& key, qzVariant& value,
                                  bool keepApart)
{
    if (map.count(key) == 0) {
        map[key].swap(value);
        return;
    }
    qzVariant& old = map[key];
    if (!keepApart) {
        if (old.getMap() != nullptr && value.getMap() != nullptr) {
            for (auto& [childKey, child] : *value.editMap())
                multiInsertAndDestroy(*old.editMap(), childKey, child, false);
            return;
        }
        if (old.getString() != nullptr && value.getString() != nullptr &&
            *old.getString() == *value.getString()) {
            value = "";
            return;
        }
        if (old.getList() != nullptr && holdsOnlyStrings(*old.getList()) &&
            value.getString() != nullptr) {
            old.editList()->push_back(*value.getString());
            value = "";
            return;
        }
    }
    if (old.getList() != nullptr) {
        const qzVariant copy = value;
        old.editList()->push_back(copy);
        return;
    }
    qzVariant taken;
    taken.swap(value);
    List both;
    both.push_back(old);
    both.push_back(taken);
    old = both;
}

inline void multiInsert(Map& map, const std::string& key, const qzVariant& value, bool keepApart)
{
    qzVariant copy = value;
    multiInsertAndDestroy(map, key, copy, keepApart);
}

void flattenList(const List& list, const std::string& prefix, Map& out,
                 const std::string& separator);

inline void flattenMap(const Map& map, const std::string& prefix, Map& out,
                       const std::string& separator)
{
    for (const auto& [key, value] : map) {
        if (value.getMap() != nullptr)
            flattenMap(*value.getMap(), prefix + key + separator, out, separator);
        else if (value.getList() != nullptr)
            flattenList(*value.getList(), prefix + key + separator, out, separator);
        else
            multiInsert(out, prefix + key, value, false);
    }
}

inline void flattenList(const List& list, const std::string& prefix, Map& out,
                        const std::string& separator)
{
    for (const qzVariant& element : list) {
        if (element.getMap() != nullptr)
            flattenMap(*element.getMap(), prefix, out, separator);
        else if (element.getList() != nullptr)
            flattenList(*element.getList(), prefix, out, separator);
        else
            multiInsert(out, prefix, element, false);
    }
}

}  // namespace qz::plain
