// SPDX-License-Identifier: GPL-3.0-or-later
#include "library/ZipReader.h"

#include "common/ByteOrder.h"
#include "common/WholeFile.h"

// Minizip rather than libzip, which takes minutes to list names that are made to collide in its
// table, hides a NUL in a name, and refuses a whole archive for one name that is no UTF-8.
#include <minizip/unzip.h>

#include <algorithm>
#include <array>
#include <cstring>

namespace zephra {

/// The file as minizip reads it: many pieces of few bytes, close to each other.
struct ZipReader::Archive {
    explicit Archive(const std::filesystem::path& path) : file(path)
    {
        zlib_filefunc64_def functions{};
        functions.opaque = this;
        functions.zopen64_file = [](void* self, const void*, int) { return self; };
        functions.zread_file = [](void*, void* self, void* to, uLong size) {
            return static_cast<Archive*>(self)->read(static_cast<std::uint8_t*>(to), size);
        };
        functions.ztell64_file = [](void*, void* self) -> ZPOS64_T {
            return static_cast<Archive*>(self)->position;
        };
        functions.zseek64_file = [](void*, void* self, ZPOS64_T offset, int origin) {
            return static_cast<Archive*>(self)->seek(offset, origin);
        };
        functions.zclose_file = [](void*, void*) { return 0; };
        functions.zerror_file = [](void*, void* self) {
            return static_cast<Archive*>(self)->ranOut ? 1 : 0;
        };
        if (!file.error())
            zip = unzOpen2_64("", &functions);
    }
    ~Archive()
    {
        if (zip)
            unzClose(zip);
    }
    Archive(const Archive&) = delete;
    Archive& operator=(const Archive&) = delete;

    uLong read(std::uint8_t* to, uLong size)
    {
        uLong count = 0;
        while (count < size) {
            if (position - windowStart >= windowSize) { // also ahead of it: the difference wraps
                windowStart = position;
                windowSize = file.readAt(position, window);
                if (windowSize == 0) {
                    ranOut = true;
                    break;
                }
            }
            const std::uint64_t at = position - windowStart;
            const uLong part = std::min<uLong>(size - count, windowSize - at);
            std::memcpy(to + count, window.data() + at, part);
            position += part;
            count += part;
        }
        return count;
    }

    /// An archive of nothing, which minizip takes for none.
    bool isEmpty()
    {
        std::array<std::uint8_t, 22> end{};
        return file.readAt(0, end) == end.size() && littleEndian32(end, 0) == 0x06054b50 &&
               littleEndian16(end, 10) == 0;
    }

    /// Backwards by an offset that wraps.
    long seek(std::uint64_t offset, int origin) noexcept
    {
        const std::uint64_t from = origin == ZLIB_FILEFUNC_SEEK_CUR   ? position
                                   : origin == ZLIB_FILEFUNC_SEEK_END ? file.size()
                                                                      : 0;
        position = from + offset;
        return 0;
    }

    RegularFile file;
    std::uint64_t position = 0;
    std::array<std::uint8_t, 16384> window{};
    std::uint64_t windowStart = 0;
    std::size_t windowSize = 0; ///< bytes of the file that it holds
    bool ranOut = false;        ///< of bytes that should have been there
    unzFile zip = nullptr;
};

namespace {

/// Unpacked. Sizes that may need 64 bits stand in an extra field, which minizip overlooks.
std::uint64_t sizeOf(unzFile zip, const unz_file_info64& info)
{
    constexpr std::uint32_t kElsewhere = 0xffffffff, kLargeSizes = 1;
    if (info.uncompressed_size != kElsewhere)
        return info.uncompressed_size;
    std::vector<std::uint8_t> extra(info.size_file_extra);
    unzGetCurrentFileInfo64(zip, nullptr, nullptr, 0, extra.data(), info.size_file_extra, nullptr,
                            0);
    for (std::size_t at = 0; at + 12 <= extra.size(); at += 4 + littleEndian16(extra, at + 2))
        if (littleEndian16(extra, at) == kLargeSizes)
            return littleEndian32(extra, at + 4) | std::uint64_t{littleEndian32(extra, at + 8)}
                                                       << 32;
    return info.uncompressed_size;
}

} // namespace

ZipReader::ZipReader(const std::filesystem::path& path) : archive(std::make_unique<Archive>(path))
{
    if (archive->zip ? !list() : !archive->isEmpty())
        archive.reset();
}

ZipReader::~ZipReader() = default;

/// False if the directory ends before it should.
bool ZipReader::list()
{
    constexpr uLong kFolder = 0x10; // as DOS marked them, and others still do
    unz_global_info64 info{};
    if (unzGetGlobalInfo64(archive->zip, &info) != UNZ_OK)
        return false;
    std::array<char, kMostNameBytes> name{};
    const std::uint64_t count = std::min<std::uint64_t>(info.number_entry, kMostItems);
    for (std::uint64_t i = 0; i < count; ++i) {
        unz_file_info64 item{};
        const int found = i == 0 ? unzGoToFirstFile(archive->zip) : unzGoToNextFile(archive->zip);
        if (found != UNZ_OK ||
            unzGetCurrentFileInfo64(archive->zip, &item, name.data(), name.size(), nullptr, 0,
                                    nullptr, 0) != UNZ_OK)
            return false;
        const bool isFit = item.size_filename <= name.size() && (item.external_fa & kFolder) == 0 &&
                           std::memchr(name.data(), '\0', item.size_filename) == nullptr;
        itemNames.emplace_back(name.data(), isFit ? item.size_filename : 0);
        places.push_back(unzGetOffset64(archive->zip));
    }
    return true;
}

bool ZipReader::read(std::size_t index, std::string& bytes)
{
    constexpr uLong kEncrypted = 1; // bit of the flags
    unzFile const zip = archive->zip;
    unz_file_info64 info{};
    if (unzSetOffset64(zip, places.at(index)) != UNZ_OK ||
        unzGetCurrentFileInfo64(zip, &info, nullptr, 0, nullptr, 0, nullptr, 0) != UNZ_OK)
        return false;
    const std::uint64_t size = sizeOf(zip, info);
    if ((info.flag & kEncrypted) != 0 || size > std::min(kMostItemBytes, bytesLeft) ||
        unzOpenCurrentFile(zip) != UNZ_OK)
        return false;

    std::array<char, 65536> part; // NOLINT(*-member-init): read into
    int count = 1;
    bytes.clear();
    while (count > 0 && bytes.size() < size) {
        const std::size_t most = std::min<std::uint64_t>(part.size(), size - bytes.size());
        count = unzReadCurrentFile(zip, part.data(), static_cast<unsigned>(most));
        bytes.append(part.data(), static_cast<std::size_t>(std::max(count, 0)));
    }
    bytesLeft -= bytes.size();
    unzCloseCurrentFile(zip); // checks the sum as well, but not of items with a large size
    const auto sum =
        ::crc32(0, reinterpret_cast<const Bytef*>(bytes.data()), static_cast<uInt>(bytes.size()));
    return bytes.size() == size && sum == info.crc;
}

} // namespace zephra
