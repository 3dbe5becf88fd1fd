// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace zephra {

/// Place of the newest sample in all rings of one length that step together.
class RingHead {
public:
    /// [!processing] `length` in samples, a power of two.
    void setLength(int length) noexcept
    {
        mask = static_cast<unsigned>(length) - 1u;
        pos = 0;
    }
    /// Longest delay that can be read back, in samples.
    int longest() const noexcept { return static_cast<int>(mask); }
    /// One sample on: what was now() is back(1).
    void advance() noexcept { pos = (pos + 1u) & mask; }

private:
    friend class Ring;
    unsigned mask = 0;
    unsigned pos = 0;
};

/// A delay memory, counted back from the newest sample. It owns neither its samples nor its head:
/// both belong to who made it and live as long.
class Ring {
public:
    explicit Ring(const RingHead& shared) noexcept : head(&shared) {}
    /// [!processing] `block` holds as many samples as the head's length.
    void place(float* block) noexcept { memory = block; }

    /// The newest sample, to be written once after each step of the head.
    float& now() const noexcept { return memory[head->pos]; }
    /// The sample written `n` steps ago, 0 <= n <= longest().
    float back(int n) const noexcept
    {
        return memory[(head->pos - static_cast<unsigned>(n)) & head->mask];
    }

private:
    const RingHead* head;
    float* memory = nullptr;
};

} // namespace zephra
