#include "FileDigest.h"

#include <cerrno>
#include <memory>
#include <new>
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
    bool isRegularFile() const
    {
        struct stat status = {};
        return ::fstat(mDescriptor, &status) == 0 && S_ISREG(status.st_mode);
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
    if (!file.isRegularFile()) {
        entry.error = EINVAL;
        return;
    }
    XXH3_128bits_reset(workshop.state.get());
    unsigned long bytes = 0;
    for (;;) {
        if (cancel.shouldCancel()) return;
        const ssize_t count = ::read(file.get(), workshop.buffer.data(), workshop.buffer.size());
        if (count == 0) break;
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) {
            entry.error = errno;
            return;
        }
        const auto size = static_cast<std::size_t>(count);
        XXH3_128bits_update(workshop.state.get(), workshop.buffer.data(), size);
        bytes += size;
    }
    const XXH128_hash_t hash = XXH3_128bits_digest(workshop.state.get());
    entry.digest = {hash.high64, hash.low64};
    entry.bytes = bytes;
}

}  // namespace fingerprint
