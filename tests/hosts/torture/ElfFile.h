// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "torture/PluginFormat.h"

#include <elf.h>

namespace zephra::torture {

/// The part of a shared library that its users link to, of 64 bit and of this machine's byte order.
class ElfFile {
public:
    explicit ElfFile(const std::filesystem::path& path);

    std::vector<std::string> definedSymbols() const;  ///< what others find in it
    std::vector<std::string> neededLibraries() const; ///< what it loads

private:
    template <class Entry> std::span<const Entry> table(unsigned type) const;
    std::string text(const Elf64_Shdr& section, std::size_t at) const;
    const Elf64_Shdr* section(unsigned type) const;

    Bytes bytes;
    std::span<const Elf64_Shdr> sections;
};

} // namespace zephra::torture
