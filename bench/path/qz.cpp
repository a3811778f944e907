// SPDX-License-Identifier: MIT
#include <qz/qzDirUtils.h>

#include <utility>

#include "rows.h"

namespace bench {

namespace {

using qz::qzDirUtils;

struct Library {
    using Text = std::string;
    using Pair = std::pair<Text, Text>;

    static const Text& makeText(const std::string& path) { return path; }
    static const std::string& toString(const Text& text) { return text; }
    static std::string toString(const Pair& pair) { return pair.first + ' ' + pair.second; }

    static Text simplify(const Text& path) { return qzDirUtils::SimplifyPath(path); }
    static Text join(const Text& folder, const Text& name)
    {
        return qzDirUtils::JoinPath(folder, name);
    }
    static Text getExtension(const Text& path)
    {
        return qzDirUtils::ExtractFileExtension(path, /*lowerCase=*/false, 1);
    }
    static Pair split(const Text& path)
    {
        Pair pair;
        qzDirUtils::SplitFolderFilename(path, pair.first, pair.second);
        return pair;
    }
    static Text makeAbsolute(const Text& path, const Text& base)
    {
        return qzDirUtils::GetAbsolutePathUtf8(path, base);
    }
    static Text resolve(const Text& path)
    {
        startLibrary();
        return qzDirUtils::GetAbsolutePathUtf8(path, "");
    }
};

const char* const kName = "qz";
const PathRow<SimplifyRow, Library> kSimplify(kName);
const PathRow<JoinRow, Library> kJoin(kName);
const PathRow<ExtensionRow, Library> kExtension(kName);
const PathRow<SplitRow, Library> kSplit(kName);
const PathRow<AbsoluteRow, Library> kAbsolute(kName);
const PathRow<ResolveRow, Library> kResolve(kName);

}  // namespace

}  // namespace bench
