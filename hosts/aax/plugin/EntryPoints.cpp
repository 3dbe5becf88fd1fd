// SPDX-License-Identifier: GPL-3.0-or-later
#include "plugin/EntryPoints.h"

#include "aax/AAX_CMonolithicParameters.h"
#include "aax/Assertion.h"
#include "aax/Zephra_Describe.h"
#include "synth/AudioEffect.h"

using namespace zephra::aax;

namespace {

constexpr std::uint64_t kInterfaceVersion = 1;
constexpr TypeId kEffectCollection = zephra::fourCharacters("ZPFX");

} // namespace

AAX_Result ACFGetSDKVersion(std::uint64_t* version)
{
    if (!version)
        return AAX_ERROR_NULL_OBJECT;
    *version = kInterfaceVersion;
    return AAX_SUCCESS;
}

AAX_Result ACFStartup(HostServices* services)
{
    setHostServices(services);
    return AAX_SUCCESS;
}

AAX_Result ACFRegisterPlugin(std::uint32_t* componentCount)
{
    if (!componentCount)
        return AAX_ERROR_NULL_OBJECT;
    *componentCount = 1;
    return AAX_SUCCESS;
}

AAX_Result ACFRegisterComponent(std::uint32_t index, TypeId* classId)
{
    if (index != 0 || !classId)
        return AAX_ERROR_NULL_OBJECT;
    *classId = kEffectCollection;
    return AAX_SUCCESS;
}

AAX_Result ACFGetClassFactory(TypeId classId, DescribeProc* describe)
{
    if (classId != kEffectCollection || !describe)
        return AAX_ERROR_NULL_OBJECT;
    *describe = GetEffectDescriptions;
    return AAX_SUCCESS;
}

AAX_Result ACFShutdown()
{
    setHostServices(nullptr);
    return AAX_SUCCESS;
}

AAX_Result ACFCanUnloadNow()
{
    return AAX_CMonolithicParameters::instanceCount() == 0 ? AAX_SUCCESS : 1;
}
