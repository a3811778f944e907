// SPDX-License-Identifier: MIT
#include <Poco/Dynamic/Struct.h>
#include <Poco/Dynamic/Var.h>
#include <Poco/NumberParser.h>

#include "leaves.h"

namespace bench {

namespace {

using Poco::DynamicStruct;
using Poco::Dynamic::Var;

Var toVar(const Leaf& leaf)
{
    return std::visit([](const auto& value) { return Var(value); }, leaf.value);
}

const Var* find(const DynamicStruct& tree, const std::string& path)
{
    const DynamicStruct* level = &tree;
    const Var* found = nullptr;
    forEachKey(path, [&](std::string&& key, bool isLast) {
        if (level == nullptr) return;
        const auto entry = level->find(key);
        found = entry != level->end() ? &entry->second : nullptr;
        level = found != nullptr && !isLast ? &found->extract<DynamicStruct>() : nullptr;
    });
    return found;
}

bool areEqualTrees(const DynamicStruct& left, const DynamicStruct& right)
{
    if (left.size() != right.size()) return false;
    auto other = right.begin();
    for (const auto& [key, value] : left) {
        if (key != other->first) return false;
        const bool isEqual = value.type() == typeid(DynamicStruct)
                                 ? areEqualTrees(value.extract<DynamicStruct>(),
                                                 other->second.extract<DynamicStruct>())
                                 : value == other->second;
        if (!isEqual) return false;
        ++other;
    }
    return true;
}

struct PocoTree {
    static DynamicStruct build(const std::vector<Leaf>& leaves)
    {
        DynamicStruct tree;
        for (const Leaf& leaf : leaves) {
            DynamicStruct* level = &tree;
            forEachKey(leaf.path, [&](std::string&& key, bool isLast) {
                Var& entry = (*level)[key];
                if (isLast) {
                    entry = toVar(leaf);
                    return;
                }
                if (entry.isEmpty()) entry = DynamicStruct();
                level = const_cast<DynamicStruct*>(&entry.extract<DynamicStruct>());
            });
        }
        return tree;
    }
    static DynamicStruct copy(const DynamicStruct& tree) { return tree; }
    static bool areEqual(const DynamicStruct& left, const DynamicStruct& right)
    {
        return areEqualTrees(left, right);
    }
    static std::size_t countFound(const DynamicStruct& tree, const std::vector<Leaf>& leaves)
    {
        std::size_t count = 0;
        for (const Leaf& leaf : leaves)
            count += find(tree, leaf.path) != nullptr ? 1 : 0;
        return count;
    }
};

struct PocoScalar {
    static std::vector<Var> makeValues(const std::vector<Leaf>& leaves)
    {
        std::vector<Var> values;
        for (const Leaf& leaf : leaves)
            values.push_back(toVar(leaf));
        return values;
    }
    static std::size_t writeTexts(const std::vector<Var>& values)
    {
        std::size_t size = 0;
        for (const Var& value : values)
            size += value.convert<std::string>().size();
        return size;
    }
    static std::size_t countNumbers(const std::vector<std::string>& texts)
    {
        std::size_t count = 0;
        for (const std::string& text : texts) {
            Poco::Int64 integer = 0;
            double real = 0;
            Var value;
            if (Poco::NumberParser::tryParse64(text, integer))
                value = integer;
            else if (Poco::NumberParser::tryParseFloat(text, real))
                value = real;
            else
                value = text;
            count += value.isNumeric() ? 1 : 0;
        }
        return count;
    }
};

TreeRows<PocoTree> gTree("poco");
ScalarRows<PocoScalar> gScalar("poco");

}  // namespace

}  // namespace bench
