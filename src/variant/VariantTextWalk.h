// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include "VariantChildren.h"

namespace qz::variant {

/// Writes a tree by calls of a `Style`:
/// - `begin(isMap)` and `end(isMap)` before and after a container,
/// - `separate(isMap, depth)` between its elements,
/// - `beginEntry(key)` and `endEntry()` before and after the value of a map's entry,
/// - `leaf(value)` for each value that is no container.
template <typename Style>
class TextWalk {
public:
    explicit TextWalk(Style& style) : mStyle(style) {}

    void write(const qzVariant& value)
    {
        writeHead(value);
        run();
    }
    template <typename Container>
    void write(const Container& container)
    {
        descend(Children(container));
        run();
    }

private:
    struct Level {
        Children children;
        bool isFirst = true;
        bool isInEntry = false;
    };

    void writeHead(const qzVariant& value)
    {
        if (isContainer(value))
            descend(Children(value));
        else
            mStyle.leaf(value);
    }

    void descend(const Children& children)
    {
        mStyle.begin(children.isMap());
        mLevels.push_back({children});
    }

    void run()
    {
        while (!mLevels.empty()) {
            Level& level = mLevels.back();
            if (level.isInEntry) mStyle.endEntry();
            level.isInEntry = false;
            if (level.children.atEnd()) {
                mStyle.end(level.children.isMap());
                mLevels.pop_back();
                continue;
            }
            writeNext(level);
        }
    }

    void writeNext(Level& level)
    {
        const bool isMap = level.children.isMap();
        if (!level.isFirst) mStyle.separate(isMap, mLevels.size());
        level.isFirst = false;
        if (isMap) mStyle.beginEntry(level.children.key());
        level.isInEntry = isMap;
        const qzVariant& value = level.children.value();
        level.children.advance();
        writeHead(value);
    }

    Style& mStyle;
    std::vector<Level> mLevels;
};

}  // namespace qz::variant
