// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "aax/AaxInterface.h"

#include <atomic>
#include <memory>
#include <string_view>
#include <vector>

namespace zephra::aax {

/// What any instrument needs whose data model and sound are one object: the list of parameters, the
/// count of changes, and the way from the host's render call to the object. [ui] unless marked
/// otherwise.
class AAX_CMonolithicParameters : public AAX_IEffectParameters {
public:
    static constexpr int kPrivateDataField = 22; ///< port of the pointer to the instance

    AAX_CMonolithicParameters() noexcept { ++alive; }
    ~AAX_CMonolithicParameters() override { --alive; }
    AAX_CMonolithicParameters(const AAX_CMonolithicParameters&) = delete;
    AAX_CMonolithicParameters& operator=(const AAX_CMonolithicParameters&) = delete;

    /// Adds one form of the instrument to an effect.
    static AAX_Result StaticDescribe(AAX_IEffectDescriptor& descriptor,
                                     const InstrumentSetup& setup);
    static int instanceCount() noexcept { return alive; } ///< [any]

    AAX_Result Initialize(Controller& host) override;
    AAX_Result Uninitialize() override;
    /// The private data takes a pointer to this object, any other field zeros.
    AAX_Result ResetFieldData(int field, void* data, std::size_t size) const override;
    AAX_Result TimerWakeup() override { return AAX_SUCCESS; }
    AAX_Result GenerateCoefficients() override { return AAX_SUCCESS; } ///< none: values act at once

    int parameterCount() const override { return static_cast<int>(parameterManager.size()); }
    AAX_IParameter* parameter(int index) const override;
    AAX_Result UpdateParameterNormalizedValue(const char* id, double value, int source) override;
    AAX_Result GetNumChunkChanges(std::int32_t* changes) const override;

protected:
    /// Adds the parameters.
    virtual AAX_Result EffectInit() = 0;
    /// [audio] One block.
    virtual void RenderAudio(const RenderInfo& info) noexcept = 0;

    /// The parameter stays until Uninitialize.
    AAX_IParameter* addParameter(std::unique_ptr<AAX_IParameter> parameter);
    AAX_IParameter* parameterNamed(std::string_view id) const;

    Controller* controller = nullptr; ///< from Initialize on
    std::atomic<int> changeCount{0};  ///< [!audio]

private:
    static void process(RenderInfo* const* instances, int count) noexcept;

    static inline std::atomic<int> alive{0};

    std::vector<std::unique_ptr<AAX_IParameter>> parameterManager;
};

} // namespace zephra::aax
