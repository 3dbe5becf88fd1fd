# SPDX-License-Identifier: GPL-3.0-or-later
"""What a sound is made of, in words, read from its controls."""

# The texts of a source control follow the menu; these follow the control value.
SOURCES = ("Off", "Velocity", "Aftertouch", "Foot", "Expression", "Timbre", "Modwheel")


class Reader:
    """Control values of one sound, defaults where it names none."""

    def __init__(self, sound, controls):
        self.settings, self.controls = sound.settings, controls

    def value(self, name):
        return self.settings.get(name, self.controls[name].default)

    def text(self, name):
        return self.controls[name].text(self.value(name))


def traits(sound, controls):
    """Each group of traits with the list of those that the sound has."""
    patch = Reader(sound, controls)
    return {
        "engine": [patch.text("opts_revision")],
        "voices": [patch.text("polyphony")],
        "wave": waves(patch),
        "filter": [f"{patch.text('filter_type_lpbp')} {patch.text('filter_type')}"],
        "LFO": [low_oscillator(patch)],
        "routing": routings(patch),
        "colour": colours(patch),
    }


def heard(patch, number):
    """Whether an oscillator is mixed in as a tone."""
    return (patch.value(f"osc_{number}_active") == 1 and patch.value(f"mixer_osc_{number}") > 0
            and patch.text(f"osc_{number}_range") != "LO")


def waves(patch):
    """Waves of the oscillators that are heard, each once."""
    found = (patch.text(f"osc_{n}_waveform") for n in (1, 2, 3) if heard(patch, n))
    return list(dict.fromkeys(found))


def modulates(patch):
    """Whether the modulation signal can reach pitch or filter."""
    routed = any(route.endswith("to Mod Amt") for route in routings(patch))
    return routed and (patch.value("controls_osc_modulation_sw") == 1
                       or patch.value("controls_filter_modulation_sw") == 1)


def low_oscillator(patch):
    if not modulates(patch):
        return "none"
    if patch.value("controls_modulation_mix") >= 0.999:
        return "noise"
    if patch.text("osc_3_range") != "LO":
        return "audio"
    return "tempo" if patch.value("opts_osc_3_lo_sync") == 1 else "free"


AMOUNTS = ("velocity_amount", "aftertouch_amount", "modwheel_amount")


def routings(patch):
    out = []
    for number, amount in enumerate(AMOUNTS, 1):
        source = SOURCES[int(patch.value(f"modulation_source_{number}"))]
        target = patch.text(f"modulation_target_{number}")
        if patch.value(amount) > 0 and "Off" not in (source, target):
            out.append(f"{source} to {target}")
    return list(dict.fromkeys(out))


def colours(patch):
    effects = patch.value("fx_active") == 1
    found = {
        "noise " + patch.text("mixer_noise_type_sw").lower(): patch.value("mixer_noise") > 0,
        "feedback": patch.value("mixer_feedback") > 0,
        "hot drive": patch.value("mixer_drive") >= 0.4,
        "keytracking": patch.value("filter_keytrack_1") + patch.value("filter_keytrack_2") > 0,
        "glide": patch.value("controls_glide") > 0,
        "drift": patch.value("opts_osc_drift") > 0,
        "set phases": any(patch.value(f"opts_osc_{n}_phase") >= 0.001 for n in (1, 2, 3)),
        "third oscillator": heard(patch, 3),
        "delay": effects and patch.value("fx_del_dry_wet") > 0,
        "reverb": effects and patch.value("fx_rev_dry_wet") > 0,
    }
    return [name for name, there in found.items() if there]


def shares(all_traits):
    """Per group: how many sounds have each trait, the most frequent first."""
    out = {}
    for one in all_traits:
        for group, names in one.items():
            counts = out.setdefault(group, {})
            for name in names:
                counts[name] = counts.get(name, 0) + 1
    return {group: sorted(counts.items(), key=lambda entry: -entry[1])
            for group, counts in out.items()}
