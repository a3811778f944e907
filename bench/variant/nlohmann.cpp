// SPDX-License-Identifier: MIT
#include <nlohmann/json.hpp>

#include "leaves.h"

namespace bench {

namespace {

using nlohmann::json;

json toJson(const Leaf& leaf)
{
    return std::visit([](const auto& value) { return json(value); }, leaf.value);
}

// Walks the keys as views of the path, which the map takes without a temporary.
const json* find(const json& tree, std::string_view path)
{
    const json* level = &tree;
    for (;;) {
        const std::size_t end = path.find('/');
        const auto& object = level->get_ref<const json::object_t&>();
        const auto entry = object.find(path.substr(0, end));
        if (entry == object.end()) return nullptr;
        if (end == std::string_view::npos) return &entry->second;
        level = &entry->second;
        path.remove_prefix(end + 1);
    }
}

struct JsonTree {
    static json build(const std::vector<Leaf>& leaves)
    {
        json tree = json::object();
        for (const Leaf& leaf : leaves) {
            json* level = &tree;
            forEachKey(leaf.path, [&](std::string&& key, bool) { level = &(*level)[key]; });
            *level = toJson(leaf);
        }
        return tree;
    }
    static json copy(const json& tree) { return tree; }
    static bool areEqual(const json& left, const json& right) { return left == right; }
    static std::size_t countFound(const json& tree, const std::vector<Leaf>& leaves)
    {
        std::size_t count = 0;
        for (const Leaf& leaf : leaves)
            count += find(tree, leaf.path) != nullptr ? 1 : 0;
        return count;
    }
};

struct JsonScalar {
    static std::vector<json> makeValues(const std::vector<Leaf>& leaves)
    {
        std::vector<json> values;
        for (const Leaf& leaf : leaves)
            values.push_back(toJson(leaf));
        return values;
    }
    static std::size_t writeTexts(const std::vector<json>& values)
    {
        std::size_t size = 0;
        for (const json& value : values)
            size += value.is_string() ? value.get<std::string>().size() : value.dump().size();
        return size;
    }
    static std::size_t countNumbers(const std::vector<std::string>& texts)
    {
        std::size_t count = 0;
        for (const std::string& text : texts) {
            json value = json::parse(text, nullptr, /*allow_exceptions=*/false);
            if (value.is_discarded()) value = text;
            count += value.is_number() ? 1 : 0;
        }
        return count;
    }
};

TreeRows<JsonTree> gTree("nlohmann");
ScalarRows<JsonScalar> gScalar("nlohmann");

}  // namespace

}  // namespace bench
