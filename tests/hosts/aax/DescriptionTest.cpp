// SPDX-License-Identifier: GPL-3.0-or-later
#include "hosts/support/AaxHost.h"

#include <gmock/gmock.h>

namespace zephra::aax {
namespace {

using testing::ElementsAre;

struct RecordingServices : HostServices {
    void assertionFailed(const char* source, int line, const char* expression) override
    {
        failures.push_back(std::string(source) + (line > 0 ? ": " : " nowhere: ") + expression);
    }

    std::vector<std::string> failures;
};

TEST(AaxDescription, AHostFindsItsWayAndMayUnloadWhenNoInstanceLives)
{
    const LoadedLibrary library;
    std::uint64_t version = 0;
    EXPECT_EQ(library.find<decltype(ACFGetSDKVersion)>("ACFGetSDKVersion")(&version), AAX_SUCCESS);
    EXPECT_EQ(version, 1u);
    std::uint32_t components = 0;
    EXPECT_EQ(library.find<decltype(ACFRegisterPlugin)>("ACFRegisterPlugin")(&components),
              AAX_SUCCESS);
    EXPECT_EQ(components, 1u);
    TypeId classId = 0;
    DescribeProc describe = nullptr;
    auto* const component = library.find<decltype(ACFRegisterComponent)>("ACFRegisterComponent");
    auto* const factory = library.find<decltype(ACFGetClassFactory)>("ACFGetClassFactory");
    EXPECT_NE(component(components, &classId), AAX_SUCCESS);
    EXPECT_EQ(component(0, &classId), AAX_SUCCESS);
    EXPECT_NE(factory(classId + 1, &describe), AAX_SUCCESS);
    EXPECT_EQ(factory(classId, &describe), AAX_SUCCESS);

    TakenDescription effect;
    EXPECT_EQ(describe(effect), AAX_SUCCESS);
    auto* const canUnload = library.find<decltype(ACFCanUnloadNow)>("ACFCanUnloadNow");
    EXPECT_EQ(canUnload(), AAX_SUCCESS);
    std::unique_ptr<AAX_IEffectParameters> instance(effect.create());
    EXPECT_EQ(canUnload(), 1);
    instance.reset();
    EXPECT_EQ(canUnload(), AAX_SUCCESS);
}

TEST(AaxDescription, SaysStepByStepWhatTheInstrumentIs)
{
    const LoadedLibrary library;
    TakenDescription effect;
    ASSERT_EQ(library.describe(effect), AAX_SUCCESS);
    EXPECT_THAT(
        effect.calls,
        ElementsAre("NewDescriptor", "AddName The Zephra", "AddName Zephra", "AddName ZP",
                    "AddCategory 2048", "NewPropertyMap", "AddProperty 60 1", "AddProcess ZP1M",
                    "NewPropertyMap", "AddProperty 60 1", "AddProcess ZP1N", "NewPropertyMap",
                    "AddProperty 58 1", "AddProperty 308 1", "AddProperty 304 0", "SetProperties",
                    "AddDataModelCreator", "AddEffect com.quil.aax.zephra",
                    "SetManufacturerName Quillon Audio Software", "AddPackageName The Zephra",
                    "AddPackageName Zephra", "AddPackageName ZP", "SetPackageVersion 1"));
    ASSERT_EQ(effect.types.size(), 2u);
    for (const auto& [setup, fields, process] : effect.types) {
        const StemFormat stems = fourText(setup.pluginId) == "ZP1M" ? 1 : 65538;
        EXPECT_EQ(setup.inputStemFormat, stems);
        EXPECT_EQ(setup.outputStemFormat, stems);
        EXPECT_EQ(fourText(setup.manufacturerId) + fourText(setup.productId), "QuilZPHR");
        EXPECT_FALSE(setup.useHostGeneratedGui);

        std::vector<std::string> ports; // that are not empty: number, name, mask, bytes
        for (std::size_t port = 0; port < kPorts; ++port) {
            const Field& field = fields[port];
            if (field.kind == FieldKind::Empty)
                continue;
            const auto last = static_cast<std::size_t>(FieldKind::Data);
            EXPECT_EQ(static_cast<std::size_t>(field.kind), std::min(port + 1, last));
            ports.push_back(std::to_string(port) + field.name + " " + std::to_string(field.mask) +
                            " " + std::to_string(field.bytes));
        }
        EXPECT_THAT(ports,
                    ElementsAre("0 0 0", "1 0 0", "2 0 0", "3 0 0", "4The Zephra 1 0",
                                "5GlobalMIDI 1 0", "6Transport 65535 0", "22 0 8", "24 0 8"));
    }
}

TEST(AaxDescription, AFaultIsAssertedAndTheEffectAddedAllTheSameIfThatIsPossible)
{
    for (const char* operation :
         {"AddName", "AddCategory", "AddProcess", "AddProperty", "NewPropertyMap", "SetProperties",
          "AddPackageName", "AddDataModelCreator", "SetManufacturerName", "SetPackageVersion",
          "NewDescriptor", "AddEffect"}) {
        SCOPED_TRACE(operation);
        const LoadedLibrary library;
        RecordingServices services;
        library.find<decltype(ACFStartup)>("ACFStartup")(&services);
        TakenDescription effect;
        effect.failing = operation;
        const bool isLost = effect.failing == "AddEffect";
        const bool isVain = effect.failing == "NewDescriptor";
        EXPECT_EQ(library.describe(effect), isLost ? -20099 : isVain ? -20004 : 0);
        EXPECT_EQ(effect.calls.back() == "SetPackageVersion 1", !isLost && !isVain);
        EXPECT_EQ(services.failures.empty(), isVain);
        EXPECT_THAT(services.failures, testing::Each("Zephra_Describe.cpp: err == AAX_SUCCESS"));
        EXPECT_EQ(library.find<decltype(ACFShutdown)>("ACFShutdown")(), AAX_SUCCESS);
    }
}

} // namespace
} // namespace zephra::aax
