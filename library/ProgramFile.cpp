// SPDX-License-Identifier: GPL-3.0-or-later
#include "library/ProgramFile.h"

#include "common/ByteOrder.h"
#include "common/Utf8.h"
#include "common/WholeFile.h"
#include "library/PatchChunk.h"

#include <algorithm>
#include <array>

namespace zephra {

namespace {

constexpr std::size_t kHeaderBytes = 60;
constexpr std::size_t kIdAt = 16;
constexpr std::size_t kChunkSizeAt = 56;
constexpr std::size_t kNameField = 28; ///< with a NUL

constexpr std::uint32_t fourBytes(const char (&text)[5]) noexcept
{
    std::uint32_t word = 0;
    for (int i = 0; i < 4; ++i)
        word = word << 8 | static_cast<unsigned char>(text[i]);
    return word;
}

constexpr std::uint32_t kOwnId = fourBytes("ZPHR");
constexpr std::array kKnownIds = {kOwnId, fourBytes("ZPHF"), fourBytes("ZEPD"), fourBytes("ZEPF")};

ProgramFile unreadable(const RegularFile& file)
{
    return {ProgramFile::Fault::Unreadable,
            file.error() ? file.error().message() : "The file is too short for a patch.",
            {}};
}

} // namespace

ProgramFile readProgramFile(const std::filesystem::path& path)
{
    using Fault = ProgramFile::Fault;
    RegularFile file(path);
    std::array<std::uint8_t, kHeaderBytes> header{};
    if (file.read(header) < header.size())
        return unreadable(file);
    if (std::ranges::find(kKnownIds, bigEndian32(header, kIdAt)) == kKnownIds.end())
        return {Fault::Foreign, "This is not a patch for The Zephra.", {}};

    ProgramFile program;
    const std::uint64_t left = file.size() - std::min<std::uint64_t>(file.size(), kHeaderBytes);
    program.chunk.resize(static_cast<std::size_t>(
        std::min<std::uint64_t>({bigEndian32(header, kChunkSizeAt), left, kMostChunkBytes})));
    program.chunk.resize(file.read(program.chunk));
    if (file.error() || program.chunk.empty())
        return unreadable(file);
    return program;
}

std::vector<std::uint8_t> programFileBytes(const PatchRecord& record, std::uint32_t engineWord)
{
    const std::vector<std::uint8_t> chunk = writeChunk(record, engineWord);
    std::vector<std::uint8_t> bytes(kHeaderBytes + chunk.size());
    ByteWriter to(bytes);
    to.bigEndian32(fourBytes("CcnK"));
    to.bigEndian32(static_cast<std::uint32_t>(bytes.size() - 8)); // what follows this word
    to.bigEndian32(fourBytes("FPCh"));                            // one program, opaque
    to.bigEndian32(1);                                            // version of the format
    to.bigEndian32(kOwnId);
    to.bigEndian32(1); // version of the instrument
    to.bigEndian32(kNumHostParameters);
    to.padded(utf8Prefix(record.nameText(), kNameField - 1), kNameField);
    to.bigEndian32(static_cast<std::uint32_t>(chunk.size()));
    std::ranges::copy(chunk, bytes.begin() + kHeaderBytes);
    return bytes;
}

std::string patchNameOf(const std::filesystem::path& path) { return path.stem().string(); }

std::unique_ptr<PluginParameters> readPatchFileForBreeding(const std::filesystem::path& path)
{
    const ProgramFile program = readProgramFile(path);
    if (program.fault != ProgramFile::Fault::None)
        return nullptr;
    auto parameters = std::make_unique<PluginParameters>();
    readChunk(program.chunk, *parameters);
    parameters->getPreset(0)->setName(patchNameOf(path));
    return parameters;
}

} // namespace zephra
