// SPDX-License-Identifier: MIT
#include "BuildId.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string_view>
#include <vector>

#include <elf.h>

#include "ElfFile.h"

namespace {

constexpr std::size_t kMostSegments = 256;
constexpr std::size_t kMostNoteBytes = 65536;

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
    const ElfFile file(path);
    Elf64_Ehdr head;
    if (!file.readHead(head) || head.e_phentsize != sizeof(Elf64_Phdr) ||
        head.e_phnum > kMostSegments)
        return {};
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
