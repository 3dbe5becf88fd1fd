// SPDX-License-Identifier: GPL-3.0-or-later
#include "torture/ElfFile.h"

#include "support/TempFolder.h"
#include "torture/Check.h"

namespace zephra::torture {

ElfFile::ElfFile(const std::filesystem::path& path) : bytes(test::fileBytes(path))
{
    require(bytes.size() > sizeof(Elf64_Ehdr), "there is no library " + path.string());
    const auto* head = reinterpret_cast<const Elf64_Ehdr*>(bytes.data());
    sections = {reinterpret_cast<const Elf64_Shdr*>(bytes.data() + head->e_shoff), head->e_shnum};
}

const Elf64_Shdr* ElfFile::section(unsigned type) const
{
    for (const Elf64_Shdr& one : sections) {
        if (one.sh_type == type)
            return &one;
    }
    throw Failure("the library has no section of type " + std::to_string(type));
}

template <class Entry> std::span<const Entry> ElfFile::table(unsigned type) const
{
    const Elf64_Shdr* found = section(type);
    return {reinterpret_cast<const Entry*>(bytes.data() + found->sh_offset),
            found->sh_size / sizeof(Entry)};
}

/// Of the strings that belong to a section.
std::string ElfFile::text(const Elf64_Shdr& owner, std::size_t at) const
{
    return reinterpret_cast<const char*>(bytes.data() + sections[owner.sh_link].sh_offset + at);
}

std::vector<std::string> ElfFile::definedSymbols() const
{
    std::vector<std::string> names;
    for (const Elf64_Sym& symbol : table<Elf64_Sym>(SHT_DYNSYM)) {
        if (symbol.st_shndx != SHN_UNDEF && symbol.st_name != 0)
            names.push_back(text(*section(SHT_DYNSYM), symbol.st_name));
    }
    return names;
}

std::vector<std::string> ElfFile::neededLibraries() const
{
    std::vector<std::string> names;
    for (const Elf64_Dyn& entry : table<Elf64_Dyn>(SHT_DYNAMIC)) {
        if (entry.d_tag == DT_NEEDED)
            names.push_back(text(*section(SHT_DYNAMIC), entry.d_un.d_val));
    }
    return names;
}

} // namespace zephra::torture
