// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "lv2/Ports.h"

#include <lv2/atom/atom.h>
#include <lv2/buf-size/buf-size.h>
#include <lv2/midi/midi.h>
#include <lv2/parameters/parameters.h>
#include <lv2/state/state.h>
#include <lv2/time/time.h>
#include <lv2/urid/urid.h>

namespace zephra::lv2 {

/// The host's numbers for the words that the plug-in knows.
struct Urids {
    explicit Urids(const LV2_URID_Map& host)
        : map(host), patch(of(kPatchUri)), ports(of(kPortsUri)), chunk(of(LV2_ATOM__Chunk)),
          sequence(of(LV2_ATOM__Sequence)), beatTime(of(LV2_ATOM__beatTime)),
          object(of(LV2_ATOM__Object)), blank(of(LV2_ATOM__Blank)), intType(of(LV2_ATOM__Int)),
          longType(of(LV2_ATOM__Long)), floatType(of(LV2_ATOM__Float)),
          doubleType(of(LV2_ATOM__Double)), midiEvent(of(LV2_MIDI__MidiEvent)),
          position(of(LV2_TIME__Position)), beatsPerMinute(of(LV2_TIME__beatsPerMinute)),
          stateChanged(of(LV2_STATE__StateChanged)), maxBlock(of(LV2_BUF_SIZE__maxBlockLength)),
          nominalBlock(of(LV2_BUF_SIZE__nominalBlockLength)),
          sampleRate(of(LV2_PARAMETERS__sampleRate))
    {
    }

    const LV2_URID_Map map;
    const LV2_URID patch, ports;
    const LV2_URID chunk, sequence, beatTime, object, blank;
    const LV2_URID intType, longType, floatType, doubleType;
    const LV2_URID midiEvent;
    const LV2_URID position, beatsPerMinute;
    const LV2_URID stateChanged;
    const LV2_URID maxBlock, nominalBlock, sampleRate;

private:
    LV2_URID of(const char* uri) const { return map.map(map.handle, uri); }
};

} // namespace zephra::lv2
