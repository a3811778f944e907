// SPDX-License-Identifier: MIT
// Indexes files of chance, takes a folder's index from that, resolves paths of chance in both, and
// compares each step with its plain form. Line feeds separate the texts: after a byte for the limit
// of the folder's index come the files, up to an empty line, and then the paths. The folder is the
// first file's.

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <qz/qzLog.h>
#include <qz/qzXRefResolverSearchPath.h>

#include "../tests/filesystem/PlainResolver.h"
#include "../tests/filesystem/qzXRefResolverSearchPathTestPeer.h"
#include "../tests/support/LibraryStart.h"
#include "support/FuzzInput.h"

namespace {

using Peer = qz::qzXRefResolverSearchPathTestPeer;
using SearchPath = qz::qzXRefResolverSearchPath;
using qz::fuzz::expectSame;
using qz::fuzz::FuzzInput;
using qz::plain::Resolver;

// No file has a zero byte or a slash in its name, so what can't be on a disk is left out.
bool isFile(const std::string& path)
{
    return !path.empty() && path.back() != '/' && path.find('\0') == std::string::npos &&
           path.find('\\') == std::string::npos;
}

std::vector<std::string> takeLines(FuzzInput& input)
{
    std::vector<std::string> lines(1);
    while (!input.isEmpty()) {
        const char byte = static_cast<char>(input.takeByte());
        if (byte != '\n') {
            lines.back() += byte;
            continue;
        }
        if (lines.back().empty()) break;
        lines.emplace_back();
    }
    return lines;
}

Peer::Dump dump(const Resolver& path)
{
    Peer::Dump dump;
    for (const auto& [key, entries] : path.index)
        for (const auto& entry : entries)
            dump[key].emplace_back(entry.fileName, entry.reversedFolder);
    return dump;
}

void compareResults(const SearchPath& path, const Resolver& plainPath,
                    const std::vector<std::string>& xrefs)
{
    for (const std::string& xref : xrefs) {
        const SearchPath::tMatchResult result = path.resolveXRef(xref);
        const SearchPath::tMatchResult wanted = plainPath.resolve(xref);
        expectSame(result.type == wanted.type, "type");
        expectSame(result.matchLength == wanted.matchLength, "agreement");
        expectSame(result.path == wanted.path, "path");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const qz::support::LibraryStart library;
    qz::qzLog::msInstance->setEchoToConsole(false);
    FuzzInput input(data, size);
    const unsigned long maxFiles = input.takeByte() % 16;
    std::vector<std::string> files;
    for (const std::string& line : takeLines(input))
        if (isFile(line)) files.push_back(line);
    const std::vector<std::string> xrefs = takeLines(input);

    const SearchPath path = Peer::make("r", files);
    Resolver plainPath("r");
    for (const std::string& file : files)
        plainPath.add(file);
    expectSame(Peer::dump(path) == dump(plainPath), "index");
    compareResults(path, plainPath, xrefs);

    const std::string below = "r/" + (files.empty() ? "a" : files[0].substr(0, files[0].find('/')));
    SearchPath derived = Peer::make(below, {});
    Resolver plainDerived(below);
    expectSame(derived.initializeSearchPathFromAnAncestor(path, maxFiles) ==
                   plainDerived.derive(plainPath, maxFiles),
               "limit");
    expectSame(Peer::dump(derived) == dump(plainDerived), "folder's index");
    compareResults(derived, plainDerived, xrefs);
    return 0;
}
