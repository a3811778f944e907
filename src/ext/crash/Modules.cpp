// SPDX-License-Identifier: MIT
#include "Modules.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <fstream>
#include <string>
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

#ifdef DLFO_STRUCT_HAS_EH_DBASE

// Finds what is loaded at an address, at this moment and without a lock.
bool findLoaded(std::uintptr_t address, Module& module)
{
    dl_find_object found = {};
    if (::_dl_find_object(reinterpret_cast<void*>(address), &found) != 0) return false;
    module.bias = static_cast<std::uintptr_t>(found.dlfo_link_map->l_addr);
    module.first = reinterpret_cast<std::uintptr_t>(found.dlfo_map_start);
    module.last = reinterpret_cast<std::uintptr_t>(found.dlfo_map_end) - 1;
    copyText(found.dlfo_link_map->l_name, module.path, sizeof module.path);
    return true;
}

// The build id of what `findLoaded` has found.
void readBuildId(Module& module)
{
    const auto* const head = reinterpret_cast<const ElfW(Ehdr)*>(module.first);
    module.buildId[0] = '\0';
    if (std::memcmp(head->e_ident, ELFMAG, SELFMAG) != 0) return;
    const std::uintptr_t segments = module.first + head->e_phoff;
    readSegments(reinterpret_cast<const ElfW(Phdr)*>(segments), head->e_phnum, module);
}

#else

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

int addModule(dl_phdr_info* info, std::size_t /*size*/, void* data)
{
    Module module;
    module.bias = info->dlpi_addr;
    findRange(info->dlpi_phdr, info->dlpi_phnum, module);
    readSegments(info->dlpi_phdr, info->dlpi_phnum, module);
    copyText(info->dlpi_name, module.path, sizeof module.path);
    static_cast<std::vector<Module>*>(data)->push_back(module);
    return 0;
}

#endif

}  // namespace

// The list of the modules is locked by the loader. In a forked child it remains so for ever if
// another thread of the parent had locked it, so the mappings are looked up one by one.
void Modules::fill(const char* program)
{
    mKnown.clear();
#ifdef DLFO_STRUCT_HAS_EH_DBASE
    std::ifstream mappings("/proc/self/maps");
    for (std::string line; std::getline(mappings, line);) {
        std::uintptr_t address = 0;
        std::from_chars(line.data(), line.data() + line.size(), address, 16);
        Module module;
        if (findKnown(address) != nullptr || !findLoaded(address, module)) continue;
        readBuildId(module);
        mKnown.push_back(module);
    }
#else
    ::dl_iterate_phdr(&addModule, &mKnown);
#endif
    for (Module& module : mKnown) {
        if (module.path[0] == '\0') copyText(program, module.path, sizeof module.path);
    }
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

const Module* Modules::find(std::uintptr_t address)
{
    const Module* const known = findKnown(address);
#ifdef DLFO_STRUCT_HAS_EH_DBASE
    if (!findLoaded(address, mFound)) return nullptr;
    const bool isKnown = known != nullptr && known->bias == mFound.bias &&
                         (mFound.path[0] == '\0' || std::strcmp(known->path, mFound.path) == 0);
    if (isKnown) return known;
    readBuildId(mFound);
    return &mFound;
#else
    return known;
#endif
}

}  // namespace qz::ext::crash
