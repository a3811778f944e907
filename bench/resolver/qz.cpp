// SPDX-License-Identifier: MIT
#include <qz/qzXRefResolverSearchPath.h>

#include "files.h"

namespace bench {

namespace {

using qz::qzXRefResolverSearchPath;

constexpr unsigned long kPlenty = 1'000'000;

// The disk is read once, outside of the timing; each build takes its files from that index.
class Resolver {
public:
    explicit Resolver(const FileTree& tree) : mFolder(tree.getFolder())
    {
        startLibrary();
        mAncestor.initializeSearchPath(tree.getRoot(), {}, kPlenty);
    }
    void build() { mPath.initializeSearchPath(mFolder, {&mAncestor}, kPlenty); }
    std::string resolve(const std::string& xref) const { return mPath.resolveXRef(xref).path; }

private:
    std::string mFolder;
    qzXRefResolverSearchPath mAncestor;
    qzXRefResolverSearchPath mPath;
};

const char* const kName = "qz";
const IndexRows<Resolver> kRows(kName);

// How the time grows with the index.
void measureLargeBuild(benchmark::State& state)
{
    Resolver resolver(getLargeTree());
    for (auto _ : state) {
        resolver.build();
        keep(resolver);
    }
}

// How the time grows with the namesakes.
template <std::size_t Count>
void measureNamesakes(benchmark::State& state)
{
    const FileTree tree = FileTree::makeNamesakes(sized(Count, Count / 100));
    Resolver resolver(tree);
    resolver.build();
    for (auto _ : state) {
        const std::string file = resolver.resolve(tree.getStalePaths().front().xref);
        keep(file);
    }
}

const Case kLargeBuild("index 200,000 names", kName, measureLargeBuild);
const Case kFew("a path among 100 namesakes", kName, measureNamesakes<100>);
const Case kSome("a path among 1,000 namesakes", kName, measureNamesakes<1'000>);
const Case kMany("a path among 10,000 namesakes", kName, measureNamesakes<10'000>);

}  // namespace

}  // namespace bench
