#include <cstdio>
#include <memory>

#include <qz/qzDirUtils.h>

#include "frame/base/ErrnoPreserver.h"
#include "text/LocalPath.h"

namespace qz {

namespace {

constexpr std::size_t kBlockSize = 8192;

// Closing what was only read must not change what a failure left in errno.
struct CloseFile {
    void operator()(std::FILE* file) const
    {
        const ErrnoPreserver kept;
        std::fclose(file);
    }
};

using File = std::unique_ptr<std::FILE, CloseFile>;

File openFile(const std::string& path, const char* mode)
{
    return File(std::fopen(text::toLocal(path).c_str(), mode));
}

bool fail(std::string* errorMsg, const char* what, const std::string& path)
{
    if (errorMsg != nullptr) *errorMsg = what + path + "'";
    return false;
}

// Callers take the copy for made once both files are open: a short write passes, as does an error
// of reading.
void copyContent(std::FILE* source, std::FILE* destination)
{
    char block[kBlockSize];
    for (std::size_t got = std::fread(block, 1, sizeof block, source); got != 0;
         got = std::fread(block, 1, sizeof block, source)) {
        std::fwrite(block, 1, got, destination);
    }
}

}  // namespace

bool qzDirUtils::CopyFileUtf8(const std::string& source, const std::string& destination,
                              bool overwrite, std::string* errorMsg)
{
    if (errorMsg != nullptr) errorMsg->clear();
    // The text blames the source for a destination that is in the way: users know it like that.
    if (!overwrite && FileExistsUtf8(destination))
        return fail(errorMsg, "source file is missing '", source);
    const File from = openFile(source, "rb");
    if (from == nullptr) return fail(errorMsg, "fail to open source file '", source);
    const File to = openFile(destination, "wb");
    if (to == nullptr) return fail(errorMsg, "fail to open destination file '", destination);
    copyContent(from.get(), to.get());
    return true;
}

}  // namespace qz
