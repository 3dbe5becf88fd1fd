// SPDX-License-Identifier: GPL-3.0-or-later
#include "voice/AmpCurve.h"

#include "voice/MonotoneCubic.h"

namespace zephra {
namespace {

using Curve = std::array<float, 2050>;

// clang-format off
constexpr Knot kCurve[] = { // entry of 2048, gain
    { 0, 0.0 },         { 31, 0.0 },        { 32, 0.000001 },   { 64, 0.000005 },
    { 128, 0.000212 },  { 256, 0.029362 },  { 384, 0.107406 },  { 512, 0.197941 },
    { 640, 0.293651 },  { 768, 0.392428 },  { 896, 0.493338 },  { 1024, 0.595867 },
    { 1280, 0.804602 }, { 1536, 0.986138 }, { 2049, 0.986138 },
};
// clang-format on

} // namespace

const Curve& ampCurve() noexcept
{
    static const Curve curve = [] {
        Curve drawn{};
        drawMonotoneCubic(kCurve, drawn);
        return drawn;
    }();
    return curve;
}

} // namespace zephra
