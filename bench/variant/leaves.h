// SPDX-License-Identifier: MIT
#pragma once

/// @file
/// The leaves of the tree rows, and the work that is timed on them.

#include <cstddef>
#include <string>
#include <variant>
#include <vector>

#include "../support.h"

namespace bench {

/// A named value of a tree of three levels.
struct Leaf {
    std::string path;  ///< "a/b/c"
    std::variant<long, double, bool, std::string> value;
};

/// A tree of `width` keys a level, so of `width` cubed leaves, in an order that isn't that of the
/// keys; the same in each run.
std::vector<Leaf> makeLeaves(std::size_t width);

/// The leaves of the rows with a goal: 10,648.
const std::vector<Leaf>& getLeaves();

/// The values of the leaves as texts: integers, reals, truth values and words.
const std::vector<std::string>& getTexts();

/// Cuts a path into its keys for a contender without paths of its own.
template <typename Visit>
void forEachKey(const std::string& path, Visit visit)
{
    std::size_t begin = 0;
    for (std::size_t end = path.find('/'); end != std::string::npos; end = path.find('/', begin)) {
        visit(path.substr(begin, end - begin), /*isLast=*/false);
        begin = end + 1;
    }
    visit(path.substr(begin), /*isLast=*/true);
}

/// The rows of one contender on trees. `Format` has `Tree build(leaves)`, `Tree copy(tree)`,
/// `bool areEqual(tree, tree)` and `std::size_t countFound(tree, leaves)` as static functions.
template <typename Format>
class TreeRows {
public:
    explicit TreeRows(const char* name)
        : mCheck(name, holdsItsLeaves),
          mBuild("build by path", name, measureBuild),
          mCopy("deep copy", name, measureCopy),
          mCompare("compare equal", name, measureCompare),
          mLookUp("look up by path", name, measureLookUp)
    {
    }

private:
    static void setLeavesProcessed(benchmark::State& state)
    {
        state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(getLeaves().size()));
    }

    static bool holdsItsLeaves()
    {
        const auto tree = Format::build(getLeaves());
        const auto copy = Format::copy(tree);
        return Format::countFound(copy, getLeaves()) == getLeaves().size() &&
               Format::areEqual(tree, copy);
    }

    static void measureBuild(benchmark::State& state)
    {
        for (auto _ : state) {
            auto tree = Format::build(getLeaves());
            keep(tree);
        }
        setLeavesProcessed(state);
    }

    static void measureCopy(benchmark::State& state)
    {
        const auto tree = Format::build(getLeaves());
        for (auto _ : state) {
            auto copy = Format::copy(tree);
            keep(copy);
        }
        setLeavesProcessed(state);
    }

    static void measureCompare(benchmark::State& state)
    {
        const auto tree = Format::build(getLeaves());
        const auto copy = Format::copy(tree);
        for (auto _ : state) {
            bool isEqual = Format::areEqual(tree, copy);
            keep(isEqual);
        }
        setLeavesProcessed(state);
    }

    static void measureLookUp(benchmark::State& state)
    {
        const auto tree = Format::build(getLeaves());
        for (auto _ : state) {
            std::size_t count = Format::countFound(tree, getLeaves());
            keep(count);
        }
        setLeavesProcessed(state);
    }

    Check mCheck;
    Case mBuild;
    Case mCopy;
    Case mCompare;
    Case mLookUp;
};

/// The rows of one contender on single values. `Format` has `makeValues(leaves)`,
/// `std::size_t writeTexts(values)`, which gives the bytes of all texts, and
/// `std::size_t countNumbers(texts)`, which guesses the type of each text, as static functions.
template <typename Format>
class ScalarRows {
public:
    explicit ScalarRows(const char* name)
        : mCheck(name, guessesLikeEverybody),
          mText("scalars to text", name, measureText),
          mGuess("texts guessed", name, measureGuess)
    {
    }

private:
    static bool guessesLikeEverybody()
    {
        std::size_t expected = 0;
        for (const Leaf& leaf : getLeaves())
            expected += leaf.value.index() < 2 ? 1 : 0;
        return Format::countNumbers(getTexts()) == expected;
    }

    static void measureText(benchmark::State& state)
    {
        const auto values = Format::makeValues(getLeaves());
        for (auto _ : state) {
            std::size_t size = Format::writeTexts(values);
            keep(size);
        }
    }

    static void measureGuess(benchmark::State& state)
    {
        for (auto _ : state) {
            std::size_t count = Format::countNumbers(getTexts());
            keep(count);
        }
    }

    Check mCheck;
    Case mText;
    Case mGuess;
};

}  // namespace bench
