// SPDX-License-Identifier: MIT
// Resolves no links, so it has no row of the current folder.

#include <Poco/Path.h>

#include <utility>

#include "rows.h"

namespace bench {

namespace {

using Poco::Path;

struct PocoPaths {
    using Text = std::string;
    using Pair = std::pair<Text, Text>;

    static const Text& makeText(const std::string& path) { return path; }
    static const std::string& toString(const Text& text) { return text; }
    static std::string toString(const Pair& pair) { return pair.first + ' ' + pair.second; }

    static Text simplify(const Text& path) { return Path(path).toString(); }
    static Text join(const Text& folder, const Text& name)
    {
        return Path::forDirectory(folder).setFileName(name).toString();
    }
    static Text getExtension(const Text& path) { return Path(path).getExtension(); }
    static Pair split(const Text& text)
    {
        const Path path(text);
        Text folder = path.parent().toString();
        folder.pop_back();  // its slash
        return {std::move(folder), path.getFileName()};
    }
    static Text makeAbsolute(const Text& path, const Text& base)
    {
        return Path(path).makeAbsolute(Path::forDirectory(base)).toString();
    }
};

const char* const kName = "poco";
const PathRow<SimplifyRow, PocoPaths> kSimplify(kName);
const PathRow<JoinRow, PocoPaths> kJoin(kName);
const PathRow<ExtensionRow, PocoPaths> kExtension(kName);
const PathRow<SplitRow, PocoPaths> kSplit(kName);
const PathRow<AbsoluteRow, PocoPaths> kAbsolute(kName);

}  // namespace

}  // namespace bench
