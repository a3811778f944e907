#include <sys/vfs.h>

#include <qz/qzDirUtils.h>

namespace qz {

namespace {

// As linux/magic.h has them; FUSE's is in no header of the C library's.
constexpr unsigned kNfs = 0x6969;
constexpr unsigned kFuse = 0x65735546;

}  // namespace

bool qzDirUtils::IsNetworkPath(const std::string& path)
{
    struct statfs64 status = {};
    if (::statfs64(path.c_str(), &status) != 0) return false;
    return status.f_type == kNfs || status.f_type == kFuse;
}

}  // namespace qz
