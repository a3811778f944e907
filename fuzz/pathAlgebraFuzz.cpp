// SPDX-License-Identifier: MIT
// Takes paths of chance apart, simplifies and joins them, and compares the results with those of
// the plain steps. The first byte is the count of parts of an extension; the first line after it is
// one path, the rest another.

#include <cstddef>
#include <cstdint>
#include <string>

#include <qz/qzDirUtils.h>

#include "../tests/filesystem/PlainPath.h"
#include "support/FuzzInput.h"

using qz::qzDirUtils;
using qz::fuzz::expectSame;
using qz::fuzz::FuzzInput;

namespace {

void checkParts(const std::string& path, int partCount)
{
    expectSame(qzDirUtils::SimplifyPath(path) == qz::plain::simplifyPath(path), "SimplifyPath");
    expectSame(qzDirUtils::ExtractFolder(path) == qz::plain::extractFolder(path), "ExtractFolder");
    expectSame(qzDirUtils::ExtractFileBaseName(path) == qz::plain::extractFileBaseName(path),
               "ExtractFileBaseName");
    expectSame(qzDirUtils::GetParentPathUtf8(path) == qz::plain::getParentPath(path),
               "GetParentPathUtf8");
    expectSame(qzDirUtils::ExtractFileExtension(path, true, partCount) ==
                   qz::plain::extractFileExtension(path, true, partCount),
               "ExtractFileExtension");
    const qz::plain::SplitPath expected = qz::plain::splitFolderFilename(path);
    std::string folder;
    std::string fileName;
    qzDirUtils::SplitFolderFilename(path, folder, fileName);
    expectSame(folder == expected.folder && fileName == expected.fileName, "SplitFolderFilename");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    FuzzInput input(data, size);
    const int partCount = static_cast<int>(input.takeByte() % 4);
    const std::string texts = input.takeRest();
    const std::size_t seam = texts.find('\n');
    const std::string left = texts.substr(0, seam);
    const std::string right = seam == std::string::npos ? "" : texts.substr(seam + 1);
    checkParts(left, partCount);
    checkParts(right, partCount);
    expectSame(qzDirUtils::JoinPath(left, right) == qz::plain::joinPath(left, right), "JoinPath");
    // An absolute base keeps the disk out of it.
    const std::string base = '/' + left;
    const std::string absolute = qzDirUtils::GetAbsolutePathUtf8(right, base);
    expectSame(!absolute.empty(), "GetAbsolutePathUtf8");
    expectSame(qzDirUtils::GetAbsolutePathUtf8(absolute, "") == qz::plain::simplifyPath(absolute),
               "GetAbsolutePathUtf8 of an absolute path");
    return 0;
}
