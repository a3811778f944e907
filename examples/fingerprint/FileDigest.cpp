// SPDX-License-Identifier: MIT
#include "FileDigest.h"

#include <algorithm>
#include <cerrno>
#include <limits>
#include <memory>
#include <new>
#include <optional>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <xxhash.h>

namespace fingerprint {

namespace {

constexpr std::size_t kBufferBytes = 256UL * 1024;

class Descriptor {
public:
    // A pipe that has taken the place of the file must not make the program wait.
    explicit Descriptor(const std::string& path)
        : mDescriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK))
    {
    }
    ~Descriptor()
    {
        if (mDescriptor >= 0) ::close(mDescriptor);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int get() const { return mDescriptor; }
    // Nothing for what is no regular file.
    std::optional<unsigned long> getSize() const
    {
        struct stat status = {};
        if (::fstat(mDescriptor, &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
        return static_cast<unsigned long>(status.st_size);
    }

private:
    int mDescriptor;
};

struct FreeState {
    void operator()(XXH3_state_t* state) const { XXH3_freeState(state); }
};

// What a thread needs, made once for all its files.
struct Workshop {
    Workshop() : buffer(kBufferBytes), state(XXH3_createState())
    {
        if (!state) throw std::bad_alloc();
    }

    std::vector<char> buffer;
    std::unique_ptr<XXH3_state_t, FreeState> state;
};

}  // namespace

void digestFile(const std::string& path, const qz::qzCancelInterfaceReadOnly& cancel,
                FileEntry& entry)
{
    thread_local Workshop workshop;
    const Descriptor file(path);
    if (file.get() < 0) {
        entry.error = errno;
        return;
    }
    // A device may be endless, and a pipe that nobody writes to would count as an empty file.
    const std::optional<unsigned long> size = file.getSize();
    if (!size) {
        entry.error = EINVAL;
        return;
    }
    // The end of a file that grows may never come. Some file systems report no size at all.
    const unsigned long mostBytes = *size != 0 ? *size : std::numeric_limits<unsigned long>::max();
    XXH3_128bits_reset(workshop.state.get());
    unsigned long bytes = 0;
    while (bytes < mostBytes) {
        if (cancel.shouldCancel()) return;
        const std::size_t wanted = std::min(mostBytes - bytes, workshop.buffer.size());
        const ssize_t count = ::read(file.get(), workshop.buffer.data(), wanted);
        if (count == 0) break;
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) {
            entry.error = errno;
            return;
        }
        const auto readBytes = static_cast<std::size_t>(count);
        XXH3_128bits_update(workshop.state.get(), workshop.buffer.data(), readBytes);
        bytes += readBytes;
    }
    const XXH128_hash_t hash = XXH3_128bits_digest(workshop.state.get());
    entry.digest = {hash.high64, hash.low64};
    entry.bytes = bytes;
}

}  // namespace fingerprint
