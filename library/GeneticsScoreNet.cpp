// SPDX-License-Identifier: GPL-3.0-or-later
#include "library/GeneticsScoreNet.h"

#include "library/GeneticsWeights.h"

#include <algorithm>

namespace zephra {

namespace {

constexpr double kOutputBias = 0.4788643717765808;

bool isSeen(int id) noexcept
{
    return id < velocity_target && id != opts_mod_pitch_range && id != opts_mod_shape &&
           id != opts_mod_cutoff_range;
}

template <std::size_t From, std::size_t To>
std::array<double, To> hiddenLayer(const std::array<double, From>& inputs,
                                   const double (&weights)[From][To],
                                   const double (&biases)[To]) noexcept
{
    std::array<double, To> units{};
    for (std::size_t unit = 0; unit < To; ++unit) {
        double sum = biases[unit];
        for (std::size_t input = 0; input < From; ++input)
            sum += inputs[input] * weights[input][unit];
        units[unit] = std::max(0.0, sum);
    }
    return units;
}

} // namespace

GeneticsScoreNet::Inputs GeneticsScoreNet::inputsOf(const PluginParameters& patch) noexcept
{
    Inputs inputs{};
    for (std::size_t index = 0; index < kInputs; ++index) {
        const int id = kHostParameters[index].id;
        inputs[index] = isSeen(id) ? patch.getValue(id) : 0.0;
    }
    return inputs;
}

double GeneticsScoreNet::score(const Inputs& inputs) noexcept
{
    const auto first = hiddenLayer(inputs, kFirstWeights, kFirstBiases);
    const auto second = hiddenLayer(first, kSecondWeights, kSecondBiases);
    double sum = 0.0;
    for (std::size_t unit = 0; unit < kUnits; ++unit)
        sum += second[unit] * kOutputWeights[unit];
    return sum + kOutputBias;
}

} // namespace zephra
