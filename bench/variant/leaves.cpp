// SPDX-License-Identifier: MIT
#include "leaves.h"

#include <algorithm>
#include <array>
#include <random>

namespace bench {

namespace {

constexpr unsigned kSeed = 20'261;

std::string makeKey(const char* stem, std::size_t number)
{
    return stem + std::to_string(100 + number * 7 % 900);
}

auto makeValue(std::mt19937& random)
{
    decltype(Leaf::value) value;
    switch (random() % 4) {
        case 0:
            value = static_cast<long>(random() % 1'000'000);
            break;
        case 1:
            value = static_cast<double>(random() % 1'000'000) / 1000.0;
            break;
        case 2:
            value = random() % 2 == 0;
            break;
        default:
            value = "value of " + std::to_string(random() % 1000);
            break;
    }
    return value;
}

struct ToText {
    std::string operator()(long value) const { return std::to_string(value); }
    std::string operator()(bool value) const { return value ? "true" : "false"; }
    std::string operator()(const std::string& value) const { return value; }
    std::string operator()(double value) const
    {
        std::array<char, 32> text;
        const int size = std::snprintf(text.data(), text.size(), "%.3f", value);
        return {text.data(), static_cast<std::size_t>(size)};
    }
};

}  // namespace

std::vector<Leaf> makeLeaves(std::size_t width)
{
    std::mt19937 random(kSeed);
    std::vector<Leaf> leaves;
    for (std::size_t i = 0; i != width * width * width; ++i)
        leaves.push_back({makeKey("part", i / width / width) + '/' +
                              makeKey("group", i / width % width) + '/' +
                              makeKey("setting", i % width),
                          makeValue(random)});
    std::shuffle(leaves.begin(), leaves.end(), random);
    return leaves;
}

const std::vector<Leaf>& getLeaves()
{
    static const std::vector<Leaf> leaves = makeLeaves(sized(22, 4));
    return leaves;
}

const std::vector<std::string>& getTexts()
{
    static const std::vector<std::string> texts = [] {
        std::vector<std::string> made;
        for (const Leaf& leaf : getLeaves())
            made.push_back(std::visit(ToText(), leaf.value));
        return made;
    }();
    return texts;
}

}  // namespace bench
