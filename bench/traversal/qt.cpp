// SPDX-License-Identifier: MIT
// Its paths are UTF-16, and a program of that library uses them so; only the check converts them.

#include <QDir>
#include <QDirIterator>
#include <QStringList>

#include "tree.h"

namespace bench {

namespace {

constexpr QDir::Filters kAll =
    QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot;

struct QtPaths {
    QStringList files;
    QStringList folders;
};

struct QtFiles {
    QStringList files;
};

std::vector<std::string> toStrings(const QStringList& list)
{
    std::vector<std::string> strings;
    for (const QString& text : list)
        strings.push_back(text.toStdString());
    return strings;
}

bool isWhole(const QtPaths& found, const Tree& tree)
{
    return bench::isWhole(Paths{toStrings(found.files), toStrings(found.folders)}, tree);
}

bool isWhole(const QtFiles& foundOfExtension, const Tree& tree)
{
    return bench::isWhole(toStrings(foundOfExtension.files), tree);
}

struct QtWalk {
    static Tally walk(const std::string& root)
    {
        Tally tally;
        QDirIterator it(QString::fromStdString(root), kAll, QDirIterator::Subdirectories);
        while (it.hasNext()) {
            it.next();
            ++(it.fileInfo().isDir() ? tally.folders : tally.files);
        }
        return tally;
    }
    static QtPaths collect(const std::string& root)
    {
        QtPaths paths;
        QDirIterator it(QString::fromStdString(root), kAll, QDirIterator::Subdirectories);
        while (it.hasNext()) {
            const QString path = it.next();
            (it.fileInfo().isDir() ? paths.folders : paths.files).push_back(path);
        }
        return paths;
    }
    static QtFiles collectExtension(const std::string& root)
    {
        QtFiles found;
        QDirIterator it(QString::fromStdString(root), {QString("*") + kExtension}, QDir::Files,
                        QDirIterator::Subdirectories);
        while (it.hasNext())
            found.files.push_back(it.next());
        return found;
    }
};

void removeFolder(const std::string& path)
{
    QDir(QString::fromStdString(path)).removeRecursively();
}

const char* const kName = "qt";
const TreeRows<QtWalk> kRows(kName);
const ClearRow<removeFolder> kClear(kName);

}  // namespace

}  // namespace bench
