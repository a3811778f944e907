// SPDX-License-Identifier: MIT
#include "Modules.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include <dlfcn.h>
#include <elf.h>
#include <link.h>

namespace qz::ext::crash {

namespace {

constexpr std::size_t kNoteAlignment = 4;

std::size_t align(std::size_t size)
{
    return (size + kNoteAlignment - 1) / kNoteAlignment * kNoteAlignment;
}

void copyText(const char* text, char* target, std::size_t capacity)
{
    std::size_t i = 0;
    for (; i + 1 < capacity && text[i] != '\0'; ++i)
        target[i] = text[i];
    target[i] = '\0';
}

void writeDigits(const unsigned char* bytes, std::size_t size, Module& module)
{
    size = std::min(size, sizeof module.buildId / 2);
    for (std::size_t i = 0; i < size; ++i) {
        module.buildId[2 * i] = "0123456789abcdef"[bytes[i] / 16];
        module.buildId[2 * i + 1] = "0123456789abcdef"[bytes[i] % 16];
    }
    module.buildId[2 * size] = '\0';
}

// Finds the build id in the notes of a segment.
void readNotes(const unsigned char* notes, std::size_t size, Module& module)
{
    while (size >= sizeof(ElfW(Nhdr))) {
        ElfW(Nhdr) head;
        std::memcpy(&head, notes, sizeof head);
        const std::size_t nameSize = align(head.n_namesz);
        const std::size_t noteSize = sizeof head + nameSize + align(head.n_descsz);
        if (noteSize > size) return;
        const unsigned char* const name = notes + sizeof head;
        if (head.n_type == NT_GNU_BUILD_ID && head.n_namesz == 4 && name[0] == 'G') {
            writeDigits(name + nameSize, head.n_descsz, module);
            return;
        }
        notes += noteSize;
        size -= noteSize;
    }
}

void readSegments(const ElfW(Phdr) * segments, std::size_t count, Module& module)
{
    module.buildId[0] = '\0';
    for (std::size_t i = 0; i < count; ++i) {
        if (segments[i].p_type != PT_NOTE || module.buildId[0] != '\0') continue;
        const std::uintptr_t notes = module.bias + segments[i].p_vaddr;
        readNotes(reinterpret_cast<const unsigned char*>(notes), segments[i].p_memsz, module);
    }
}

// The addresses that the segments take.
void findRange(const ElfW(Phdr) * segments, std::size_t count, Module& module)
{
    module.first = UINTPTR_MAX;
    module.last = 0;
    for (std::size_t i = 0; i < count; ++i) {
        if (segments[i].p_type != PT_LOAD) continue;
        const std::uintptr_t first = module.bias + segments[i].p_vaddr;
        module.first = std::min(module.first, first);
        module.last = std::max(module.last, first + segments[i].p_memsz - 1);
    }
}

struct Filling {
    std::vector<Module>& modules;
    const char* program;
};

int addModule(dl_phdr_info* info, std::size_t /*size*/, void* data)
{
    const Filling& filling = *static_cast<const Filling*>(data);
    Module module;
    module.bias = info->dlpi_addr;
    findRange(info->dlpi_phdr, info->dlpi_phnum, module);
    readSegments(info->dlpi_phdr, info->dlpi_phnum, module);
    const bool isProgram = filling.modules.empty();
    copyText(isProgram ? filling.program : info->dlpi_name, module.path, sizeof module.path);
    filling.modules.push_back(module);
    return 0;
}

}  // namespace

void Modules::fill(const char* program)
{
    mKnown.clear();
    Filling filling = {mKnown, program};
    ::dl_iterate_phdr(&addModule, &filling);
}

void Modules::write(SafeText& out) const
{
    for (const Module& module : mKnown) {
        const std::string_view buildId = module.buildId[0] != '\0' ? module.buildId : "-";
        out << "module " << SafeText::Hex{module.first} << " " << SafeText::Hex{module.last} << " "
            << buildId << " " << SafeText::Foreign{module.path};
        out.endLine();
    }
}

const Module* Modules::findKnown(std::uintptr_t address) const
{
    for (const Module& module : mKnown) {
        if (address >= module.first && address <= module.last) return &module;
    }
    return nullptr;
}

// The system's own look-up takes no lock and knows what is loaded at this moment.
const Module* Modules::find(std::uintptr_t address)
{
    const Module* const known = findKnown(address);
#ifdef DLFO_STRUCT_HAS_EH_DBASE
    dl_find_object found = {};
    if (::_dl_find_object(reinterpret_cast<void*>(address), &found) != 0) return nullptr;
    const auto bias = static_cast<std::uintptr_t>(found.dlfo_link_map->l_addr);
    const auto first = reinterpret_cast<std::uintptr_t>(found.dlfo_map_start);
    const char* const name = found.dlfo_link_map->l_name;
    const bool isKnown = known != nullptr && known->bias == bias &&
                         (name[0] == '\0' || std::strncmp(known->path, name, 1023) == 0);
    if (isKnown) return known;
    mFound.bias = bias;
    mFound.first = first;
    copyText(name, mFound.path, sizeof mFound.path);
    const auto* const head = static_cast<const ElfW(Ehdr)*>(found.dlfo_map_start);
    if (std::memcmp(head->e_ident, ELFMAG, SELFMAG) == 0) {
        readSegments(reinterpret_cast<const ElfW(Phdr)*>(first + head->e_phoff), head->e_phnum,
                     mFound);
    } else {
        mFound.buildId[0] = '\0';
    }
    return &mFound;
#else
    return known;
#endif
}

}  // namespace qz::ext::crash
