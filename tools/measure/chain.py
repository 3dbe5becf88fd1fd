# SPDX-License-Identifier: GPL-3.0-or-later
"""Linear frequency responses of the path from mixer to output, and its random generator."""

import numpy as np

from . import theory

TAPS = 119


def decimator_taps():
    n = np.arange(TAPS)
    m = n - 59
    x = 2 * np.pi * n / TAPS
    window = 0.355768 - 0.487396 * np.cos(x) + 0.144232 * np.cos(2 * x) - 0.012604 * np.cos(3 * x)
    return 0.12 * np.sinc(0.12 * m) * window


def decimator_response(f, rate):
    """Complex gain for a voice-rate component of f Hz, before folding."""
    w = 2 * np.pi * np.asarray(f, float) / (8 * rate)
    return np.exp(-1j * np.outer(w, np.arange(TAPS))) @ decimator_taps()


def z_inverse(f, fs):
    return np.exp(-2j * np.pi * np.asarray(f, float) / fs)


def one_pole_low(f, c, fs):
    """state += (x - state) * c; the state."""
    z = z_inverse(f, fs)
    return c / (1 - (1 - c) * z)


def one_pole_high(f, hz, fs):
    """x - state with c = tan(pi hz / fs): the DC blockers of the voice path."""
    return 1 - one_pole_low(f, np.tan(np.pi * hz / fs), fs)


def smoothing(hz, fs):
    return 1 - np.exp(-2 * np.pi * hz / fs)


def stage(f, g, fs8):
    """One ladder stage at low level: trapezoidal one-pole low-pass."""
    z = z_inverse(f, fs8)
    s = (1 - z) / (1 + z)
    return g / (g + s)


TAP_WEIGHTS = {  # [24 dB, band pass]: weights of y1..y4
    (False, False): (0, 1, 0, 0),
    (True, False): (0, 0, 0, 1),
    (False, True): (1, -1, 0, 0),
    (True, True): (0, 1, -2, 1),
}


def ladder(f, units, rate, linearised=False, slope24=True, band_pass=False, loop=0.0):
    """Linear response of the filter with its tap, without compensation and DC blockers."""
    fs8 = 8 * rate
    g = theory.integrator_gain(units, rate, linearised)
    h = stage(f, g, fs8)
    high = 1.0
    for hz in (9, 15) if linearised else (29.04,):
        high = high * (1 - stage(f, np.tan(np.pi * hz / fs8), fs8))
    weights = TAP_WEIGHTS[(slope24, band_pass)]
    return sum(w * h ** (k + 1) for k, w in enumerate(weights)) / (1 + loop * h ** 4 * high)


def dc_blockers(f, rate, linearised=False):
    fs8 = 8 * rate
    out = 1.0
    for hz in (8, 12, 16) if linearised else (12, 20, 24.4):
        out = out * one_pole_high(f, hz, fs8)
    return out


def treble_high_pass(f, rate):
    """The 11 kHz high-pass in front of the mains ripple."""
    w = np.tan(np.pi * 11000 / rate)
    b, a = 1 / (1 + w), (w - 1) / (1 + w)
    z = z_inverse(f, rate)
    return b * (1 - z) / (1 + a * z)


def white_sequence(count, seed=1):
    """The voice-rate white noise, -0.5..0.5, from the first sample of the instrument's life on."""
    out = np.empty(count, np.uint32)
    chunk = 4096
    # Powers of the generator's step, so that a whole chunk is made from one state.
    gain = np.empty(chunk, np.uint64)
    bias = np.empty(chunk, np.uint64)
    a, b = 1, 0
    for k in range(chunk):
        gain[k], bias[k] = a, b
        a, b = a * 214013 & 0xFFFFFFFF, (b * 214013 + 2531011) & 0xFFFFFFFF
    state = seed
    for at in range(0, count, chunk):
        n = min(chunk, count - at)
        states = (gain[:n] * np.uint64(state) + bias[:n]) & np.uint64(0xFFFFFFFF)
        out[at : at + n] = states.astype(np.uint32)
        state = (a * state + b) & 0xFFFFFFFF
    return (out >> 16).astype(np.uint16).view(np.int16) / 65536.0


def white_at_host_rate(frames, rate):
    """The same noise through an ideal low-pass, one value per output sample."""
    bins = np.fft.rfft(white_sequence(8 * frames))
    return np.fft.irfft(bins[: frames // 2 + 1], frames) / 8


def white_gain(f, level, rate):
    """From the generator to the mixer's output: 80 Hz high-pass and the noise floor."""
    low = one_pole_low(f, smoothing(80, 8 * rate), 8 * rate)
    return 2.75 * level * (1 - low) + 0.001


def small_signal_gain(slope24=True, band_pass=False, drive=0.0, saturation=0.0):
    """Mixer to output in Mono at full envelope and volume one, filter and blockers apart."""
    return (theory.drive_gain(drive) * theory.compensation(slope24, band_pass) * theory.AMP_CEILING
            * theory.saturation_gain(saturation) * 2.0)
