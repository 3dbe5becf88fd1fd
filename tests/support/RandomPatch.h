// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "controls/PatchRecord.h"

#include <cstdint>
#include <random>
#include <string>

namespace zephra::test {

/// Patches of random values, inside and outside the ranges of their controls, and texts.
class RandomPatch {
public:
    explicit RandomPatch(std::uint32_t seed) : random(seed) {}

    /// Fills a record with what a chunk of today carries unchanged; returns an engine word.
    std::uint32_t fill(PatchRecord& record)
    {
        for (ControlValue& param : record.params) {
            const bool bends = param.id == pb_range_up || param.id == pb_range_down;
            param.value = bends ? static_cast<float>(below(49)) : value();
        }
        record.setName(letters(below(28)));
        record.setInfoText(letters(below(512)));
        for (std::size_t i = PatchRecord::kInfoTextBytes; i < record.info.size(); ++i)
            record.info[i] = static_cast<char>(random());
        record.presetIntCount = below(65);
        record.presetInts.fill(0);
        for (std::size_t i = 0; i < record.presetIntCount; ++i)
            record.presetInts[i] = random();
        return random();
    }

private:
    unsigned below(unsigned n) { return static_cast<unsigned>(random() % n); }

    float value()
    {
        const float unit = static_cast<float>(random() >> 8) * 0x1p-24f;
        switch (below(8)) {
        case 0: return static_cast<float>(below(50));
        case 1: return (unit - 0.5f) * 19000.0f;
        case 2: return unit * 1e-40f;
        case 3: return unit * 3e38f;
        default: return unit;
        }
    }

    /// Bytes but NUL; some are no UTF-8.
    std::string letters(unsigned count)
    {
        std::string text;
        while (text.size() < count)
            text += static_cast<char>(1 + below(255));
        return text;
    }

    std::mt19937 random;
};

} // namespace zephra::test
