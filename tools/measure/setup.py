# SPDX-License-Identifier: GPL-3.0-or-later
"""Settings that isolate one part of the instrument."""

from . import theory

ENGINES = [("Late", 0), ("Early", 1)]
SETTLED = 0.4  # seconds after which the output volume has left its start value

# One voice, one oscillator, filter wide open, no drift, no asymmetry, gain one at the end.
BARE = {
    "polyphony": 2,  # Mono: voice 0 alone, whose Osc 1 has no fixed spread
    "osc_1_range": 3,
    "osc_2_active": 0,  # the closed oscillators run along; in Early they leak, here in unison
    "osc_2_range": 3,
    "osc_3_active": 0,
    "osc_3_range": 3,
    "osc_3_ktrk": 1,
    "mixer_drive": 0,
    "filter_cutoff": 1,
    "opts_flt_cutoff_range": 1,
    "opts_flt_symmetry": 0.5,
    "opts_amp_saturation": 0,
    "opts_osc_keytracking": 0.5,
    "opts_osc_drift": 0,
    "unison_spread": 0,
    "volume": theory.VOLUME_ONE,
}

# Only white noise, at a level where every stage is linear to a few parts in a thousand.
# The oscillators stand at the cap of their pitch, above what is looked at.
NOISE = {**BARE, "osc_1_active": 0, "osc_1_range": 5, "osc_2_range": 5, "osc_3_range": 5,
         "mixer_noise_type_sw": 1, "mixer_noise": 0.15}
NOISE_KEY = 127

MONO_GAIN = 2.0  # Mono has no pan: both channels carry twice the voice
