// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "library/ImportSource.h"
#include "library/ZipReader.h"

#include <filesystem>
#include <vector>

namespace zephra {

/// The files of a ZIP archive whose names are fit for a library. Names are taken as bytes, with
/// either slash.
class ZipSource : public ImportSource {
public:
    explicit ZipSource(const std::filesystem::path& archive);

    /// False if this is no archive.
    bool isOpen() const noexcept { return reader.isOpen(); }
    const std::vector<ImportItem>& items() const noexcept override { return fitItems; }
    bool copy(const ImportItem& item, const LibraryFiles& target, const PathText& to) override;

private:
    ZipReader reader;
    std::vector<ImportItem> fitItems;
    std::string unpacked; ///< of one item
};

} // namespace zephra
