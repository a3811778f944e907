// SPDX-License-Identifier: MIT
#include "BuildId.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string_view>
#include <vector>

#include <elf.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr std::size_t kMostSegments = 256;
constexpr std::size_t kMostNoteBytes = 65536;

class File {
public:
    explicit File(const std::string& path)
        : mDescriptor(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC))
    {
    }
    ~File()
    {
        if (mDescriptor >= 0) ::close(mDescriptor);
    }
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    bool isRegular() const
    {
        struct stat status = {};
        return ::fstat(mDescriptor, &status) == 0 && S_ISREG(status.st_mode);
    }

    bool read(std::size_t position, void* bytes, std::size_t size) const
    {
        const ssize_t count = ::pread(mDescriptor, bytes, size, static_cast<off_t>(position));
        return count >= 0 && static_cast<std::size_t>(count) == size;
    }

private:
    int mDescriptor;
};

std::size_t align(std::size_t size)
{
    return (size + 3) / 4 * 4;
}

std::string toDigits(std::string_view bytes)
{
    std::string digits;
    for (const char byte : bytes) {
        const auto value = static_cast<unsigned char>(byte);
        digits += "0123456789abcdef"[value / 16];
        digits += "0123456789abcdef"[value % 16];
    }
    return digits;
}

std::string findInNotes(std::string_view notes)
{
    Elf64_Nhdr head;
    while (notes.size() >= sizeof head) {
        std::memcpy(&head, notes.data(), sizeof head);
        notes.remove_prefix(sizeof head);
        const std::size_t nameSize = align(head.n_namesz);
        if (nameSize > notes.size() || head.n_descsz > notes.size() - nameSize) return {};
        if (head.n_type == NT_GNU_BUILD_ID && notes.substr(0, 3) == "GNU")
            return toDigits(notes.substr(nameSize, head.n_descsz));
        notes.remove_prefix(std::min(notes.size(), nameSize + align(head.n_descsz)));
    }
    return {};
}

}  // namespace

std::string readBuildId(const std::string& path)
{
    const File file(path);
    Elf64_Ehdr head;
    if (!file.isRegular() || !file.read(0, &head, sizeof head)) return {};
    const bool isElf = std::memcmp(head.e_ident, ELFMAG, SELFMAG) == 0;
    if (!isElf || head.e_phentsize != sizeof(Elf64_Phdr) || head.e_phnum > kMostSegments) return {};
    std::vector<Elf64_Phdr> segments(head.e_phnum);
    if (!file.read(head.e_phoff, segments.data(), segments.size() * sizeof(Elf64_Phdr))) return {};
    for (const Elf64_Phdr& segment : segments) {
        if (segment.p_type != PT_NOTE || segment.p_filesz > kMostNoteBytes) continue;
        std::string notes(segment.p_filesz, '\0');
        if (!file.read(segment.p_offset, notes.data(), notes.size())) continue;
        std::string id = findInNotes(notes);
        if (!id.empty()) return id;
    }
    return {};
}
