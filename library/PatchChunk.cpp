// SPDX-License-Identifier: GPL-3.0-or-later
#include "library/PatchChunk.h"

#include "common/ByteOrder.h"
#include "common/Utf8.h"
#include "library/PatchValue.h"
#include "library/RevisionLadder.h"

#include <algorithm>
#include <array>

namespace zephra {

namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::size_t kHeaderBytes = 560;
constexpr std::size_t kRevisionAt = 512;
constexpr std::size_t kEngineWordAt = 520;

constexpr std::size_t kHeadBytes = 16; ///< of a section
constexpr std::uint32_t kFormatWord = 1;
constexpr std::uint32_t kPresetIntsTag = 0x70726573; // 'pres'
constexpr std::uint32_t kNameTag = 0x6e616d65;       // 'name'
constexpr std::uint32_t kInfoTag = 0x70696e66;       // 'pinf'
constexpr std::uint32_t kValuesTag = 0x70617261;     // 'para'

constexpr std::size_t kStoredNameBytes = 27;
constexpr std::size_t kWordBytes = 4;

using PatchValues = std::array<PatchValue, PatchRecord::paramCount>;

Bytes firstOf(Bytes bytes, std::uint64_t most) noexcept
{
    return bytes.first(static_cast<std::size_t>(std::min<std::uint64_t>(most, bytes.size())));
}

/// Every control at its default, in storage order.
PatchValues defaultValues() noexcept
{
    PatchValues values;
    std::ranges::transform(kStorageOrder, values.begin(), [](int id) {
        return PatchValue{static_cast<std::uint16_t>(id), 0, defaultValue(id)};
    });
    return values;
}

/// Takes the sections of a chunk into a record and a list of values.
class SectionReader {
public:
    SectionReader(PatchRecord& patchRecord, PatchValues& patchValues)
        : record(patchRecord), values(patchValues)
    {
    }

    void readAll(Bytes sections) noexcept
    {
        const std::uint64_t total = sections.size();
        for (std::uint64_t offset = 0; offset + kHeadBytes <= total;) {
            const Bytes section = sections.subspan(static_cast<std::size_t>(offset));
            const std::uint64_t elementSize = littleEndian32(section, 8);
            const std::uint64_t count = littleEndian32(section, 12);
            // Kept: not the length of the section, so that one that is cut short is still read.
            if (offset + elementSize >= total)
                break;
            read(littleEndian32(section, 4), elementSize, count, section.subspan(kHeadBytes));
            offset += kHeadBytes + elementSize * count;
        }
        values.apply();
    }

private:
    /// `bytes` is what there is from the first element on, the following sections included.
    void read(std::uint32_t tag, std::uint64_t elementSize, std::uint64_t count,
              Bytes bytes) noexcept
    {
        switch (tag) {
        case kPresetIntsTag: readPresetInts(elementSize, count, bytes); break;
        case kNameTag: readName(firstOf(bytes, kStoredNameBytes)); break;
        case kInfoTag: readInfo(firstOf(bytes, elementSize)); break;
        case kValuesTag: readValues(count, bytes); break;
        default: break;
        }
    }

    /// Elements may be of any size: the lowest four bytes of each count, shorter ones leave the
    /// upper bytes of their word.
    void readPresetInts(std::uint64_t elementSize, std::uint64_t count, Bytes bytes) noexcept
    {
        count = std::min<std::uint64_t>(count, record.presetInts.size());
        for (std::size_t i = 0; i < count && !bytes.empty() && elementSize > 0; ++i) {
            const Bytes element = firstOf(bytes, elementSize);
            std::uint32_t& word = record.presetInts[i];
            for (std::size_t k = 0; k < std::min(element.size(), kWordBytes); ++k)
                word = (word & ~(0xffu << 8 * k)) | static_cast<std::uint32_t>(element[k]) << 8 * k;
            record.presetIntCount = std::max(record.presetIntCount, i + 1);
            bytes = bytes.subspan(element.size());
        }
    }

    void readName(Bytes bytes) noexcept
    {
        record.setName({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
    }

    void readInfo(Bytes bytes) noexcept
    {
        std::ranges::copy(firstOf(bytes, record.info.size()), record.info.begin());
        record.info[PatchRecord::kInfoTextBytes - 1] = '\0';
    }

    /// Sections of values may overlap, since their elements have 8 bytes whatever their size says:
    /// what they hold together is limited, so that no chunk keeps the reader busy.
    void readValues(std::uint64_t count, Bytes bytes) noexcept
    {
        count = std::min({count, std::uint64_t{bytes.size() / PatchValue::kBytes}, valuesLeft});
        valuesLeft -= count;
        values.take(firstOf(bytes, count * PatchValue::kBytes));
    }

    PatchRecord& record;
    ValueMerge values;
    std::uint64_t valuesLeft = kMostChunkBytes / PatchValue::kBytes;
};

void writeSectionHead(ByteWriter& to, std::uint32_t tag, std::size_t elementSize, std::size_t count)
{
    to.littleEndian32(kFormatWord);
    to.littleEndian32(tag);
    to.littleEndian32(static_cast<std::uint32_t>(elementSize));
    to.littleEndian32(static_cast<std::uint32_t>(count));
}

} // namespace

std::vector<std::uint8_t> writeChunk(const PatchRecord& record, std::uint32_t engineWord)
{
    constexpr std::size_t kNameBytes = kStoredNameBytes + 1;
    const std::size_t words = record.presetIntCount;
    std::vector<std::uint8_t> chunk(kHeaderBytes + 4 * kHeadBytes + words * kWordBytes +
                                    kNameBytes + record.info.size() +
                                    record.params.size() * PatchValue::kBytes);
    ByteWriter to(chunk);

    to.zeros(kRevisionAt);
    to.littleEndian32(kPatchRevision);
    to.zeros(kEngineWordAt - kRevisionAt - kWordBytes);
    to.littleEndian32(engineWord);
    to.zeros(kHeaderBytes - kEngineWordAt - kWordBytes);

    writeSectionHead(to, kPresetIntsTag, kWordBytes, words);
    for (const std::uint32_t word : std::span(record.presetInts).first(words))
        to.littleEndian32(word);

    writeSectionHead(to, kNameTag, kNameBytes, 1);
    to.padded(utf8Prefix(record.nameText(), kStoredNameBytes), kNameBytes);

    writeSectionHead(to, kInfoTag, record.info.size(), 1);
    to.padded(record.info, record.info.size());

    writeSectionHead(to, kValuesTag, PatchValue::kBytes, record.params.size());
    for (const ControlValue& param : record.params) {
        to.littleEndian16(param.id);
        to.littleEndian16(param.page);
        to.littleEndianFloat(param.value);
    }
    return chunk;
}

std::uint32_t readChunk(std::span<const std::uint8_t> chunk, PluginParameters& parameters)
{
    chunk = firstOf(chunk, kMostChunkBytes);
    std::array<std::uint8_t, kHeaderBytes> header{}; // what a short chunk lacks is 0
    std::ranges::copy(firstOf(chunk, kHeaderBytes), header.begin());
    const std::uint32_t engineWord = littleEndian32(header, kEngineWordAt);
    PatchRecord* const record = parameters.getPreset(NoParameter);
    if (!record)
        return engineWord;

    record->info.fill('\0');
    PatchValues values = defaultValues();
    SectionReader(*record, values).readAll(chunk.subspan(std::min(chunk.size(), kHeaderBytes)));
    liftRevision(values, littleEndian32(header, kRevisionAt));

    // The patch is complete before a lock covers any of it: a locked value is neither lifted nor
    // copied to another control.
    const ControlValues& locks = parameters.locks();
    for (std::size_t row = 0; row < values.size(); ++row) {
        const float value = locks[row].isSet() ? locks[row].value.get() : values[row].value;
        parameters.setValue(values[row].id, value);
    }
    return engineWord;
}

} // namespace zephra
