// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <utility>

#include "rows.h"

namespace bench {

/// A contender with the interface of the standard's paths: the class of those.
template <typename Path>
struct StandardPaths {
    using Text = std::string;
    using Pair = std::pair<Path, Path>;

    static const Text& makeText(const std::string& path) { return path; }
    static std::string toString(const Path& path) { return path.string(); }
    static std::string toString(const Pair& pair)
    {
        return toString(pair.first) + ' ' + toString(pair.second);
    }

    static Path simplify(const Text& path) { return Path(path).lexically_normal(); }
    static Path join(const Text& folder, const Text& name) { return Path(folder) / name; }
    static Pair split(const Text& text)
    {
        const Path path(text);
        return {path.parent_path(), path.filename()};
    }
    static Path makeAbsolute(const Text& path, const Text& base)
    {
        return (Path(base) / path).lexically_normal();
    }
    // Called by way of its name, for each kind of path has its own.
    static Path resolve(const Text& path) { return weakly_canonical(Path(path)); }
};

/// Its extension carries the dot.
template <typename Path>
struct StandardExtension : StandardPaths<Path> {
    static Path getExtension(const std::string& path) { return Path(path).extension(); }
    static std::string toString(const Path& extension)
    {
        const std::string text = extension.string();
        return text.empty() ? text : text.substr(1);
    }
};

template <typename Path>
class StandardRows {
public:
    explicit StandardRows(const char* name)
        : mSimplify(name),
          mJoin(name),
          mExtension(name),
          mSplit(name),
          mAbsolute(name),
          mResolve(name)
    {
    }

private:
    PathRow<SimplifyRow, StandardPaths<Path>> mSimplify;
    PathRow<JoinRow, StandardPaths<Path>> mJoin;
    PathRow<ExtensionRow, StandardExtension<Path>> mExtension;
    PathRow<SplitRow, StandardPaths<Path>> mSplit;
    PathRow<AbsoluteRow, StandardPaths<Path>> mAbsolute;
    PathRow<ResolveRow, StandardPaths<Path>> mResolve;
};

}  // namespace bench
