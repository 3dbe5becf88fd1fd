# SPDX-License-Identifier: GPL-3.0-or-later
"""What the instrument is meant to do with its controls: pitch, cutoff, resonance, times, levels.

Written apart from the instrument's own code, in double precision, so that the two can disagree.
All control values are 0..1 unless said otherwise; `early` selects the engine."""

import numpy as np

OVERSAMPLING = 8
INCREMENT_CAP = 0.05  # cycles per voice sample
AMP_CEILING = 0.986138

RANGE_SEMITONES = [-48, -24, -12, 0, 12, 24]
FIXED_RATE_FACTOR = [1, 32, 64, 128, 256, 520]  # Osc 3 without keyboard tracking
COARSE_FACTOR = [0.25, 0.5, 1, 2, 4]

# Detune of each voice in semitones, one column per oscillator.
FIXED_SPREAD = np.array([
    [0, 0.0011, -0.0015],
    [-0.00251, -0.00201, 0.001392],
    [0.00221, 0.0022317, 0.001291],
    [-0.002711, 0.002212, -0.0002391],
    [0.0001, 0.0012, -0.00105],
    [-0.0025, 0.002, 0.001392],
    [0.0022, 0.00123143, 0.001271],
    [-0.002411, -0.0002211, -0.0002391],
])


def geometric(x, low, high):
    return low * (high / low) ** x


def cents(ratio):
    return 1200 * np.log2(ratio)


# Pitch ------------------------------------------------------------------------------------------

def keyboard_base(keytracking):
    """Frequency ratio of twelve keys."""
    return 0.0056297779083252 * 2 * keytracking + 1.9943702220916748


def pitch_hz(key, keytracking=0.5, offset=0.0, tuning=1.0):
    """Hz of a key; `offset` in semitones takes range, semi, fine and spread together."""
    base = keyboard_base(keytracking)
    return (440 * base ** -2.75 / 65.406) * 440 * tuning * base ** ((offset - 69 + key) / 12)


def unison_factors(detune):
    """Frequency factors of the four lanes."""
    x = 0.06 * detune ** 3
    a, b = 1 - x, 1 - 1.99 * x
    return [a, 1 / a, b, 1 / b]


def low_rate_hz(semi):
    return geometric(semi, 0.3121616, 15.7998686)


def glide_semitones_per_second(glide):
    """Downward speed; upward glides are twice as fast."""
    return geometric((1 - glide) ** 2, 10, 10000)


# Filter -----------------------------------------------------------------------------------------

TABLE_TOP = 32726


def cutoff_units(knob, cutoff_range=0.5, early=False):
    """Cutoff value 0..1 that a still voice hands to the filter."""
    return 0.952 * knob * geometric(cutoff_range, 0.9523810, 1.05) * (0.982 if early else 1.0)


def cutoff_knob(hz, cutoff_range=1.0, early=False):
    """Knob position that gives a table frequency (the inverse of the two functions around it)."""
    units = np.log2(hz / 26) * 3072 / TABLE_TOP
    return units / cutoff_units(1.0, cutoff_range, early)


def table_hz(units):
    return 26 * 2 ** (np.floor(np.clip(units, 0, 1) * TABLE_TOP) / 3072)


def integrator_gain(units, rate, linearised):
    """g of the ladder; the linearised solver reads a table that is 6 % higher."""
    return np.tan(np.pi * (1.06 if linearised else 1.0) * table_hz(units) / (8 * rate))


def loop_gain(resonance, resonance_range=0.5):
    v = np.asarray(resonance, float)
    curve = np.where(v < 0.6, v ** 3 / 0.36,
                     1.7745966692414836 * np.sqrt(v) - 0.7745966692414836)
    return np.minimum(curve, 1) * (5 + resonance_range)


# Envelopes --------------------------------------------------------------------------------------

ATTACK_KNOTS = [(0, 0.0009), (0.15, 0.01), (0.3, 0.086), (0.4, 0.212), (0.5, 0.6), (0.6276, 1.5),
                (0.75, 3.54), (0.87, 8.1), (0.999, 12), (1.01, 12)]


def filter_attack_seconds(x):
    return np.interp(x, *zip(*ATTACK_KNOTS))


def filter_decay_seconds(x):
    """Also the release map."""
    return geometric(2 * x, 0.003, 3.72) if x < 0.5 else geometric(2 * x - 1, 3.72, 45.78)


def filter_sustain_target(x):
    return (0.992 * x + 0.035) * 0.9 * 0.5


def filter_scale(early):
    return 0.98293781 * (0.93 if early else 0.88) * 2


def amp_attack_ms(x):
    """Time in which the distance to full level falls to a fifth."""
    return geometric(np.sqrt(x), 1.35, 17000)


def amp_decay_ms(x):
    """Time of a fall to a tenth, decay and release."""
    if x < 0.2:
        return geometric(5 * x, 2.5, geometric(0.3746522, 2.5, 36000))
    return geometric(x ** 0.61, 2.5, 36000)


def amp_linear_ms(x):
    """Full fall time of the linear release, used below 0.01."""
    return geometric(x, 2.5, 36000)


def filter_decay_curve(decay, sustain, attack, start, seconds, rate):
    """Decay of the filter envelope, one value per voice sample: a capacitor charged toward the
    sustain through a fixed resistor and discharged through one that grows with time."""
    fs8 = 8 * rate
    capacitor = 1e-5
    charge = filter_decay_seconds(decay) / (np.log(10) * capacitor)
    target = filter_sustain_target(sustain)
    droop = 132 * np.exp(14 * attack)
    out = np.empty(int(seconds * fs8))
    level = start
    leak = 1 / (1.62 * droop ** 1.4)
    for n in range(len(out)):
        if n % 8 == 0:
            leak = 1 / (1.62 * droop ** 1.4)
            droop += 192000 / rate
        level += ((target - level) / charge - leak * level) / (fs8 * capacitor)
        out[n] = level
    return out


# Amplifier --------------------------------------------------------------------------------------

# Rows of the amplifier curve: (index of 2048, amplitude).
AMP_ROWS = [(0, 0), (32, 1e-6), (64, 5e-6), (128, 0.000212), (256, 0.029362), (384, 0.107406),
            (512, 0.197941), (640, 0.293651), (768, 0.392428), (896, 0.493338), (1024, 0.595867),
            (1280, 0.804602), (1536, AMP_CEILING), (2048, AMP_CEILING)]
AMP_AT = dict(AMP_ROWS)


def th(v):
    v2 = v * v
    return v * (945 + 105 * v2 + v2 * v2) / (945 + 420 * v2 + 15 * v2 * v2)


def compensation(slope24, band_pass):
    return (2 if slope24 and band_pass else 1) / 1.3


def saturation_gain(saturation):
    return 2 * saturation + 2


def drive_gain(drive):
    return drive + 0.325


def volume_gain(volume):
    return 2.01 * volume ** 2


VOLUME_ONE = np.sqrt(1 / 2.01)  # the volume control of gain one


def pan(p):
    """Left and right gain."""
    return (2 - 2 * p, 1.0) if p > 0.5 else (1.0, 2 * p)


def pan_position(mode, lane, spread):
    s = spread + 1e-5
    if mode == "Unison":
        return (lane / 1.5 - 1) * s * 0.5 + 0.5
    side = 0.5 * s + 0.5
    return side if lane % 2 == 0 else 1 - side


def ripple_wave(phase):
    """Mains shape over the phase 0..1."""
    t = 2 * phase - 1
    s = np.where(t < 0, t + t * t, t - t * t)
    return s + s * s


RIPPLE_DEPTH = 0.0784
