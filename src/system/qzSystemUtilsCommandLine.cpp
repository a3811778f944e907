// SPDX-License-Identifier: MIT
#include <cstdlib>
#include <memory>
#include <string_view>

#include <qz/qzLogObject.h>
#include <qz/qzStringUtils.h>
#include <qz/qzSystemUtils.h>

#include "frame/base/FreeMemory.h"
#include "frame/base/StandardFile.h"

namespace qz {

namespace {

constexpr std::size_t kBlockSize = 4097;

// All that can be read; nothing of a file that can't be opened.
std::string readAll(const char* path)
{
    std::string content;
    const StandardFile file(std::fopen(path, "rbe"));
    if (file == nullptr) return content;
    char block[kBlockSize];
    while (const std::size_t size = std::fread(block, 1, sizeof block, file.get()))
        content.append(block, size);
    return content;
}

// Each argument ends with a NUL, as the kernel has them, but a program may have overwritten the
// last one's.
void appendArguments(std::string_view content, std::vector<std::string>& arguments)
{
    while (!content.empty()) {
        const std::size_t size = content.find('\0');
        const std::string argument(content.substr(0, size));
        arguments.push_back(qzStringUtils::convertCharset(argument, qzStringUtils::CharSetLocal,
                                                          qzStringUtils::CharSetUtf8));
        if (size == std::string_view::npos) break;
        content.remove_prefix(size + 1);
    }
}

}  // namespace

void qzSystemUtils::ExtractCommandLineUtf8(std::vector<std::string>& arguments)
{
    arguments.clear();
    appendArguments(readAll("/proc/self/cmdline"), arguments);
    // Who started the process chose argument 0 freely; callers want the file that runs.
    const std::unique_ptr<char, FreeMemory> programPath(::realpath("/proc/self/exe", nullptr));
    if (programPath != nullptr) {
        if (arguments.empty()) arguments.emplace_back();
        arguments.front() = programPath.get();
    }
    if (arguments.empty()) logCritical() << "Fail to retrieve command line";
}

}  // namespace qz
