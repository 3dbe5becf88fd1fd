// SPDX-License-Identifier: GPL-3.0-or-later
#include "controls/ControlText.h"
#include "controls/PluginParameters.h"
#include "Home.h"
#include "library/PatchChunk.h"
#include "Lv2Host.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <limits>

namespace zephra::lv2 {
namespace {

constexpr int kModWheel = 0;
constexpr int kTuningCoarse = 8;
constexpr int kOsc1Semi = 13;
constexpr int kOsc1Fine = 14;
constexpr int kOsc1Wave = 11;
constexpr int kCutoff = 34;
constexpr int kResonance = 35;

float& port(Lv2Host& host, int index) { return host.controls[static_cast<std::size_t>(index)]; }

/// A control of the patch that an instance holds.
float control(Lv2Host& host, int index)
{
    PluginParameters values;
    readChunk(host.patch(), values);
    return values.getValue(values.controlOfIndex(index));
}

std::string shown(Lv2Host& host, int index)
{
    return controlText(kHostParameters[static_cast<std::size_t>(index)].id, control(host, index));
}

TEST(ControlPort, CarriesWhatThePanelShows)
{
    const Home home;
    Lv2Host host;
    const struct {
        int index;
        float value;
        const char* text;
    } rows[] = {
        {kModWheel, 55.0f, "55 %"},    {kTuningCoarse, -2.0f, "-2"}, {kTuningCoarse, 1.0f, "+1"},
        {kOsc1Semi, 3.5f, "+3.50"},    {kOsc1Semi, -7.0f, "-7.00"},  {kOsc1Fine, -12.5f, "-12.5"},
        {kOsc1Wave, 5.0f, "Wide"},     {kCutoff, 25.0f, "25 Hz"},    {kCutoff, 440.0f, "440 Hz"},
        {kCutoff, 9000.0f, "9.0 kHz"}, {kResonance, 7.25f, "7.25"},
    };
    for (const auto& row : rows) {
        port(host, row.index) = row.value;
        host.run(64);
        EXPECT_EQ(shown(host, row.index), row.text) << row.value;
    }
}

TEST(ControlPort, OfEveryControlReachesBothEndsAndBack)
{
    const Home home;
    Lv2Host host;
    for (int i = 0; i < kNumHostParameters; ++i) {
        const float scale = controlScale(kHostParameters[static_cast<std::size_t>(i)].id);
        const PortScale& ends = portScale(i);
        for (const auto& [value, expected] : {std::pair{ends.fromNormalised(0.5f), -1.0f},
                                              {ends.fromNormalised(1.0f), scale},
                                              {ends.fromNormalised(0.0f), 0.0f},
                                              {1e30f, scale},
                                              {-1e30f, 0.0f}}) {
            port(host, i) = value;
            host.run(16);
            if (expected >= 0.0f) {
                EXPECT_EQ(control(host, i), expected) << portScale(i).maximum << " port " << i;
            }
        }
    }
}

TEST(ControlPort, ActsWhenItMovesAndNotByStandingSomewhere)
{
    const Home home;
    Lv2Host host;
    const float first = control(host, kCutoff);
    host.run(64);
    EXPECT_EQ(control(host, kCutoff), first) << "the port still stands at its default";

    port(host, kCutoff) = 5000.0f;
    host.run(64);
    const State loud = host.save();
    port(host, kCutoff) = 100.0f;
    host.run(64);
    const float low = control(host, kCutoff);

    ASSERT_EQ(host.restore(loud), LV2_STATE_SUCCESS);
    for (int i = 0; i < 4; ++i)
        host.run(64);
    EXPECT_EQ(host.save()[kPatchUri].value, loud.at(kPatchUri).value) << "the port has not moved";

    port(host, kCutoff) = 120.0f;
    host.run(64);
    EXPECT_GT(control(host, kCutoff), low);
    EXPECT_LT(control(host, kCutoff), low + 0.1f);
}

TEST(ControlPort, IgnoresWhatIsNoNumber)
{
    const Home home;
    Lv2Host host;
    const Bytes before = host.patch();
    for (const float odd :
         {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
          -std::numeric_limits<float>::infinity()}) {
        host.controls.fill(odd);
        host.run(64);
        EXPECT_EQ(host.patch(), before);
    }
}

} // namespace
} // namespace zephra::lv2
