// SPDX-License-Identifier: GPL-3.0-or-later
#include "aax/AAX_CMonolithicParameters.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

namespace zephra::aax {

namespace {

constexpr std::size_t kDataBytes = 8; // a pointer
static_assert(kDataBytes == sizeof(void*));
constexpr std::uint32_t kAllTransportEvents = 65535;
constexpr int kCanBypassProperty = 60;

/// The ports of an instrument. Those of additional MIDI nodes and of meters stay empty.
std::array<Field, kPorts> fieldsFor(const InstrumentSetup& setup)
{
    std::array<Field, kPorts> fields;
    fields[0].kind = FieldKind::AudioIn;
    fields[1].kind = FieldKind::AudioOut;
    fields[2].kind = FieldKind::BufferLength;
    fields[3].kind = FieldKind::Clock;
    if (setup.needsInputMidi)
        fields[4] = {FieldKind::LocalInputNode, setup.inputMidiNodeName,
                     setup.inputMidiChannelMask};
    if (setup.needsGlobalMidi)
        fields[5] = {FieldKind::GlobalNode, setup.globalMidiNodeName, setup.globalMidiEventMask};
    if (setup.needsTransport)
        fields[6] = {FieldKind::TransportNode, setup.transportNodeName, kAllTransportEvents};
    fields[AAX_CMonolithicParameters::kPrivateDataField] = {FieldKind::Data, "", 0, kDataBytes};
    fields[24] = fields[AAX_CMonolithicParameters::kPrivateDataField];
    return fields;
}

} // namespace

// --- Description --------------------------------------------------------------------------------

AAX_Result AAX_CMonolithicParameters::StaticDescribe(AAX_IEffectDescriptor& descriptor,
                                                     const InstrumentSetup& setup)
{
    AAX_IPropertyMap* const properties = descriptor.NewPropertyMap();
    if (!properties)
        return AAX_ERROR_NULL_OBJECT;
    if (const AAX_Result err = properties->AddProperty(kCanBypassProperty, setup.canBypass))
        return err;
    return descriptor.AddProcess({setup, fieldsFor(setup), process}, properties);
}

// --- Life ---------------------------------------------------------------------------------------

AAX_Result AAX_CMonolithicParameters::Initialize(Controller& host)
{
    controller = &host;
    parameterManager.clear();
    return EffectInit();
}

AAX_Result AAX_CMonolithicParameters::Uninitialize()
{
    parameterManager.clear();
    return AAX_SUCCESS;
}

AAX_Result AAX_CMonolithicParameters::ResetFieldData(int field, void* data, std::size_t size) const
{
    if (!data)
        return AAX_ERROR_NULL_OBJECT;
    std::memset(data, 0, size);
    const AAX_CMonolithicParameters* const instance = this;
    if (field == kPrivateDataField && size == kDataBytes)
        std::memcpy(data, &instance, size);
    return AAX_SUCCESS;
}

// --- Parameters ---------------------------------------------------------------------------------

AAX_IParameter* AAX_CMonolithicParameters::addParameter(std::unique_ptr<AAX_IParameter> parameter)
{
    return parameterManager.emplace_back(std::move(parameter)).get();
}

AAX_IParameter* AAX_CMonolithicParameters::parameter(int index) const
{
    return index >= 0 && index < parameterCount()
               ? parameterManager[static_cast<std::size_t>(index)].get()
               : nullptr;
}

AAX_IParameter* AAX_CMonolithicParameters::parameterNamed(std::string_view id) const
{
    const auto found = std::ranges::find(parameterManager, id, &AAX_IParameter::identifier);
    return found == parameterManager.end() ? nullptr : found->get();
}

AAX_Result AAX_CMonolithicParameters::UpdateParameterNormalizedValue(const char* id, double value,
                                                                     int)
{
    AAX_IParameter* const found = id ? parameterNamed(id) : nullptr;
    if (!found || std::isnan(value))
        return AAX_ERROR_PARAMETER;
    found->setNormalizedValue(value);
    ++changeCount;
    return AAX_SUCCESS;
}

AAX_Result AAX_CMonolithicParameters::GetNumChunkChanges(std::int32_t* changes) const
{
    if (!changes)
        return AAX_ERROR_NULL_OBJECT;
    *changes = std::max(changeCount.load(), 0);
    return AAX_SUCCESS;
}

// --- Sound --------------------------------------------------------------------------------------

void AAX_CMonolithicParameters::process(RenderInfo* const* instances, int count) noexcept
{
    for (int i = 0; i < count; ++i) {
        const RenderInfo& info = *instances[i];
        if (info.privateData && *info.privateData)
            (*info.privateData)->RenderAudio(info);
    }
}

} // namespace zephra::aax
