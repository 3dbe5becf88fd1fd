// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "aax/AaxInterface.h"
#include "common/Shared.h"

#include <algorithm>
#include <functional>
#include <string>
#include <type_traits>
#include <utility>

namespace zephra::aax {

/// What a parameter is called and how its values read.
template <class T> struct ParameterTexts {
    std::string identifier; ///< never changes: songs hold it
    std::string name;
    std::function<std::string(T)> display; ///< [any]
};

/// A parameter whose taper is linear from 0 to 1: a float passes as it is, a bool turns over at
/// 0.5.
template <class T> class AAX_CParameter : public AAX_IParameter {
public:
    /// `steps` as numberOfSteps tells them.
    AAX_CParameter(ParameterTexts<T> parameterTexts, T ofDefault, int steps)
        : texts(std::move(parameterTexts)), defaultValue(ofDefault), stepCount(steps),
          value(ofDefault)
    {
    }

    const char* identifier() const noexcept override { return texts.identifier.c_str(); }
    const char* name() const noexcept override { return texts.name.c_str(); }
    int numberOfSteps() const noexcept override { return stepCount; }
    bool isAutomatable() const noexcept override { return true; }
    double defaultNormalizedValue() const noexcept override { return defaultValue; }
    double normalizedValue() const noexcept override { return value.get(); }
    bool GetValueAsBool() const noexcept override { return normalizedValue() >= 0.5; }
    std::string text(double normalized) const override { return texts.display(real(normalized)); }
    void setNormalizedValue(double normalized) noexcept override { value = real(normalized); }

private:
    static T real(double normalized) noexcept
    {
        normalized = std::clamp(normalized, 0.0, 1.0);
        if constexpr (std::is_same_v<T, bool>)
            return normalized >= 0.5;
        else
            return static_cast<T>(normalized);
    }

    const ParameterTexts<T> texts;
    const T defaultValue;
    const int stepCount;
    Shared<T> value;
};

} // namespace zephra::aax
