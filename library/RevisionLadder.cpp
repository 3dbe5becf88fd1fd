// SPDX-License-Identifier: GPL-3.0-or-later
#include "library/RevisionLadder.h"

#include "controls/ControlIds.h"

#include <algorithm>
#include <initializer_list>
#include <utility>

namespace zephra {

namespace {

constexpr float kBendRange = 48.0f;    ///< semitones
constexpr float kOldBendRange = 24.0f; ///< semitones, before revision 6

// Control values.
constexpr float kUnison = 0.0f, kPoly4 = 1.0f, kMono = 2.0f, kPoly8 = 3.0f;
constexpr float kToFilter = 1.0f, kToModAmount = 2.0f, kToVolume = 4.0f;

/// Toward zero. The limit keeps wild values inside an int.
float truncated(float value) noexcept
{
    return static_cast<float>(static_cast<int>(std::clamp(value, -1e9f, 1e9f)));
}

/// The values of a patch by control id.
class Values {
public:
    explicit Values(std::span<PatchValue> patchValues) noexcept : all(patchValues) {}

    /// Applies `change` to every value of these controls.
    template <class Change> void change(std::initializer_list<int> ids, Change change) noexcept
    {
        for (PatchValue& value : all) {
            if (std::ranges::find(ids, value.id) != ids.end())
                value.value = change(value.value);
        }
    }
    void set(std::initializer_list<int> ids, float value) noexcept
    {
        change(ids, [value](float) { return value; });
    }
    /// The first value of a control; nullptr if the patch has none.
    float* first(int id) noexcept
    {
        const auto found = std::ranges::find(all, id, &PatchValue::id);
        return found == all.end() ? nullptr : &found->value;
    }
    void setFirst(int id, float value) noexcept
    {
        if (float* target = first(id))
            *target = value;
    }
    void copy(int from, int to) noexcept
    {
        if (const float* source = first(from))
            set({to}, *source);
    }

private:
    std::span<PatchValue> all;
};

/// Lists were normalised, and some knobs stood for what others set today.
void liftFrom1(Values& values) noexcept
{
    values.set({polyphony}, 3.0f);
    values.copy(unison_spread, unison_detune);
    values.copy(tuning_coarse, opts_flt_symmetry);
    values.set({tuning_coarse}, 2.0f);
    values.set({tuning_fine}, 0.5f);
    values.change({osc_1_waveform, osc_2_waveform, osc_3_waveform},
                  [](float value) { return truncated(6.0f * value); });
    values.change({osc_1_range, osc_2_range, osc_3_range},
                  [](float value) { return truncated(5.0f * value); });
    float* const active = values.first(osc_3_active);
    float* const keyTrack = values.first(osc_3_ktrk);
    if (active && keyTrack)
        std::swap(*active, *keyTrack);
    values.copy(mixer_drive, opts_amp_saturation);
    values.copy(mixer_feedback, mixer_drive);
    values.set({mixer_feedback}, 0.0f);
    values.set({filter_type, opts_note_priority}, 1.0f);
    values.change({pb_range_up, pb_range_down}, [](float value) { return value / 24.0f; });
    values.set({opts_mod_pitch_range}, 0.5f);
    values.set({opts_mod_shape}, 0.0f);
}

/// A list of modes took the place of a number: 3 and above was Mono, 2 Mono that starts anew.
void liftFrom2(Values& values) noexcept
{
    values.setFirst(opts_mono_mode, 0.0f);
    float* const mode = values.first(polyphony);
    if (!mode)
        return;
    const float old = truncated(*mode);
    if (old == 2.0f)
        values.setFirst(opts_mono_mode, 1.0f);
    if (old >= 2.0f)
        *mode = kMono;
    else if (old >= 0.0f)
        *mode = old == 1.0f ? kPoly4 : kUnison;
}

/// Bend ranges became semitones.
void liftFrom3(Values& values) noexcept
{
    values.change({pb_range_up, pb_range_down},
                  [](float value) { return truncated(value * 24.0f); });
}

/// The switches of velocity and aftertouch became targets of the modulation matrix.
void liftFrom4(Values& values) noexcept
{
    values.change({velocity_target},
                  [](float value) { return value >= 0.5f ? kToFilter : kToVolume; });
    if (const float* target = values.first(velocity_target))
        values.setFirst(modulation_target_1, *target);
    values.change({aftertouch_target},
                  [](float value) { return value >= 0.5f ? kToFilter : kToModAmount; });
    if (const float* target = values.first(aftertouch_target))
        values.setFirst(modulation_target_2, *target);
}

/// Poly-8 came, and patches that were Mono until then play in it.
void liftFrom5(Values& values) noexcept
{
    values.change({polyphony},
                  [](float value) { return truncated(value) == kMono ? kPoly8 : value; });
}

} // namespace

void liftRevision(std::span<PatchValue> patchValues, std::uint32_t revision) noexcept
{
    Values values(patchValues);
    switch (revision) {
    case 1: liftFrom1(values); [[fallthrough]];
    case 2: liftFrom2(values); [[fallthrough]];
    case 3: liftFrom3(values); [[fallthrough]];
    case 4: liftFrom4(values); [[fallthrough]];
    case 5:
        liftFrom5(values);
        revision = kPatchRevision;
        break;
    default: break;
    }

    // Kept: what is beyond the limit does not stop there, it starts again from 1.
    const float limit = revision < kPatchRevision ? kOldBendRange : kBendRange;
    values.change({pb_range_up, pb_range_down}, [limit](float value) {
        return value > limit ? truncated(value / limit) : value;
    });
}

} // namespace zephra
