// SPDX-License-Identifier: MIT
#include "FunctionSymbols.h"

#include <algorithm>
#include <cstddef>
#include <vector>

#include "ElfFile.h"

namespace {

// What a hostile file may cost.
constexpr std::size_t kMostSymbols = 16UL * 1024 * 1024;
constexpr std::size_t kBlock = 4096;  // symbols

using Addresses = std::set<std::uint64_t>;

bool isSymbolTable(const Elf64_Shdr& section)
{
    return (section.sh_type == SHT_SYMTAB || section.sh_type == SHT_DYNSYM) &&
           section.sh_entsize == sizeof(Elf64_Sym);
}

void addCovered(const Elf64_Sym& symbol, const Addresses& addresses, Addresses& covered)
{
    const unsigned type = ELF64_ST_TYPE(symbol.st_info);
    if (type != STT_FUNC && type != STT_GNU_IFUNC) return;
    for (auto address = addresses.lower_bound(symbol.st_value);
         address != addresses.end() && *address - symbol.st_value < symbol.st_size; ++address)
        covered.insert(*address);
}

}  // namespace

std::set<std::uint64_t> findInFunctions(const std::string& path,
                                        const std::set<std::uint64_t>& addresses)
{
    Addresses covered;
    const ElfFile file(path);
    Elf64_Ehdr head;
    if (!file.readHead(head) || head.e_shentsize != sizeof(Elf64_Shdr)) return covered;
    std::vector<Elf64_Shdr> sections(head.e_shnum);
    if (!file.read(head.e_shoff, sections.data(), sections.size() * sizeof(Elf64_Shdr)))
        return covered;
    std::size_t left = kMostSymbols;
    std::vector<Elf64_Sym> symbols;
    for (const Elf64_Shdr& section : sections) {
        if (!isSymbolTable(section)) continue;
        const std::size_t count = std::min(left, section.sh_size / sizeof(Elf64_Sym));
        for (std::size_t done = 0; done < count; done += symbols.size()) {
            symbols.resize(std::min(kBlock, count - done));
            const std::size_t position = section.sh_offset + done * sizeof(Elf64_Sym);
            if (!file.read(position, symbols.data(), symbols.size() * sizeof(Elf64_Sym))) break;
            for (const Elf64_Sym& symbol : symbols)
                addCovered(symbol, addresses, covered);
        }
        left -= count;
    }
    return covered;
}
