// SPDX-License-Identifier: MIT
// Its resolved paths must exist, so it has no row of the current folder.

#include <QDir>
#include <QFileInfo>
#include <QString>

#include <utility>

#include "rows.h"

namespace bench {

namespace {

struct QtPaths {
    using Text = QString;
    using Pair = std::pair<Text, Text>;

    static Text makeText(const std::string& path) { return QString::fromStdString(path); }
    static std::string toString(const Text& text) { return text.toStdString(); }
    static std::string toString(const Pair& pair)
    {
        return toString(pair.first) + ' ' + toString(pair.second);
    }

    static Text simplify(const Text& path) { return QDir::cleanPath(path); }
    static Text join(const Text& folder, const Text& name) { return QDir(folder).filePath(name); }
    static Text getExtension(const Text& path) { return QFileInfo(path).suffix(); }
    static Pair split(const Text& path)
    {
        const QFileInfo info(path);
        return {info.path(), info.fileName()};
    }
    static Text makeAbsolute(const Text& path, const Text& base)
    {
        return QDir::cleanPath(QDir(base).absoluteFilePath(path));
    }
};

const char* const kName = "qt";
const PathRow<SimplifyRow, QtPaths> kSimplify(kName);
const PathRow<JoinRow, QtPaths> kJoin(kName);
const PathRow<ExtensionRow, QtPaths> kExtension(kName);
const PathRow<SplitRow, QtPaths> kSplit(kName);
const PathRow<AbsoluteRow, QtPaths> kAbsolute(kName);

}  // namespace

}  // namespace bench
