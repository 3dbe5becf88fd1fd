// SPDX-License-Identifier: GPL-3.0-or-later
#include "aax/Zephra_Describe.h"

#include "aax/Assertion.h"
#include "aax/Zephra_Parameters.h"

namespace zephra::aax {

namespace {

constexpr const char* kEffectIdentifier = "com.quil.aax.zephra";
constexpr const char* kManufacturerName = "Quillon Audio Software";
constexpr const char* kNames[] = {"The Zephra", "Zephra", "ZP"}; // the longest first
constexpr std::uint32_t kPackageVersion = 1;

static_assert(VstXSynth::kIdentity.initialDelay == 0); // a host that is told nothing assumes that

// The host knows what they switch by their numbers.
constexpr struct {
    int property;
    std::int32_t value;
} kEffectProperties[] = {{58, 1}, {308, 1}, {304, 0}};

/// What the mono and the stereo instrument have in common.
InstrumentSetup commonSetup()
{
    InstrumentSetup setup;
    setup.manufacturerId = kManufacturer;
    setup.productId = kProduct;
    setup.needsGlobalMidi = true;
    setup.globalMidiNodeName = "GlobalMIDI";
    setup.globalMidiEventMask = 1;
    setup.needsInputMidi = true;
    setup.inputMidiNodeName = kNames[0];
    setup.inputMidiChannelMask = 1;
    setup.needsTransport = true;
    setup.transportNodeName = "Transport";
    setup.canBypass = true;
    return setup;
}

InstrumentSetup setupOf(TypeId pluginId, StemFormat stems)
{
    InstrumentSetup setup = commonSetup();
    setup.pluginId = pluginId;
    setup.inputStemFormat = stems;
    setup.outputStemFormat = stems;
    return setup;
}

} // namespace

AAX_Result GetEffectDescriptions(Collection& collection)
{
    AAX_IEffectDescriptor* const descriptor = collection.NewDescriptor();
    if (!descriptor)
        return AAX_ERROR_NULL_OBJECT;

    AAX_Result err = AAX_SUCCESS;
    for (const char* name : kNames)
        err |= descriptor->AddName(name);
    err |= descriptor->AddCategory(AAX_ePlugInCategory_SWGenerators);
    AAX_ASSERT(err == AAX_SUCCESS);

    err |= Zephra_Parameters::StaticDescribe(*descriptor,
                                             setupOf(fourCharacters("ZP1M"), AAX_eStemFormat_Mono));
    AAX_ASSERT(err == AAX_SUCCESS);
    err |= Zephra_Parameters::StaticDescribe(
        *descriptor, setupOf(fourCharacters("ZP1N"), AAX_eStemFormat_Stereo));
    AAX_ASSERT(err == AAX_SUCCESS);

    if (AAX_IPropertyMap* const properties = descriptor->NewPropertyMap()) {
        for (const auto& [property, value] : kEffectProperties)
            err |= properties->AddProperty(property, value);
        err |= descriptor->SetProperties(properties);
    } else {
        err |= AAX_ERROR_NULL_OBJECT;
    }
    AAX_ASSERT(err == AAX_SUCCESS);

    err |= descriptor->AddDataModelCreator(Zephra_Parameters::Create);
    AAX_ASSERT(err == AAX_SUCCESS);

    const AAX_Result added = collection.AddEffect(kEffectIdentifier, descriptor);
    err |= added;
    AAX_ASSERT(err == AAX_SUCCESS);
    if (added != AAX_SUCCESS)
        return added;

    err |= collection.SetManufacturerName(kManufacturerName);
    for (const char* name : kNames)
        err |= collection.AddPackageName(name);
    err |= collection.SetPackageVersion(kPackageVersion);
    AAX_ASSERT(err == AAX_SUCCESS);
    return AAX_SUCCESS;
}

} // namespace zephra::aax
