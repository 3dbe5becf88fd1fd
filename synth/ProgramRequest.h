// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <atomic>
#include <cstdint>

namespace zephra {

/// Which patch MIDI asks for, in one word between the threads, since a patch cannot be loaded on
/// the audio thread. Of several requests that nobody has served yet the last one stands.
class ProgramRequest {
public:
    struct Wanted {
        int bank = -1;     ///< row of the bank list ahead of the program, -1: as it is
        int program = -1;  ///< in that bank, -1: none
        int nextBank = -1; ///< for later programs, -1: as it is
    };

    /// [audio] 0..127, which later programs are taken from.
    void selectBank(int bank) noexcept
    {
        change([bank](Wanted& wanted) { wanted.nextBank = bank; });
    }
    /// [audio] 0..127
    void selectProgram(int program) noexcept
    {
        change([program](Wanted& wanted) {
            if (wanted.nextBank >= 0)
                wanted.bank = wanted.nextBank;
            wanted.nextBank = -1;
            wanted.program = program;
        });
    }

    /// [any] Whether there is anything to take.
    bool pending() const noexcept { return word.load() != 0; }
    /// [ui] What is asked for, once.
    Wanted take() noexcept { return unpacked(word.exchange(0)); }

private:
    // A byte for each field, from the lowest: the value + 1, so that 0 is "none".
    static Wanted unpacked(std::uint32_t packed) noexcept
    {
        const auto field = [packed](int shift) {
            return static_cast<int>(packed >> shift & 0xffu) - 1;
        };
        return {field(0), field(8), field(16)};
    }
    static std::uint32_t packed(const Wanted& wanted) noexcept
    {
        const auto field = [](int value, int shift) {
            return static_cast<std::uint32_t>(value + 1) << shift;
        };
        return field(wanted.bank, 0) | field(wanted.program, 8) | field(wanted.nextBank, 16);
    }

    /// Repeats only if the request is taken meanwhile.
    template <class Change> void change(Change apply) noexcept
    {
        std::uint32_t before = word.load();
        std::uint32_t after = 0;
        do {
            Wanted wanted = unpacked(before);
            apply(wanted);
            after = packed(wanted);
        } while (!word.compare_exchange_weak(before, after));
    }

    std::atomic<std::uint32_t> word{0};
};

} // namespace zephra
