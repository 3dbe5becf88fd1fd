// SPDX-License-Identifier: GPL-3.0-or-later
#include "hosts/aax/AaxHost.h"

#include <gmock/gmock.h>

namespace zephra::aax {
namespace {

using testing::ElementsAre;

TEST_F(AaxTest, TheLibraryExportsSevenEntryPointsAndNothingElse)
{
    EXPECT_THAT(test::definedSymbols(ZEPHRA_AAX_LIBRARY),
                ElementsAre("ACFCanUnloadNow", "ACFGetClassFactory", "ACFGetSDKVersion",
                            "ACFRegisterComponent", "ACFRegisterPlugin", "ACFShutdown",
                            "ACFStartup"));
}

TEST_F(AaxTest, AHostFindsItsWayFromTheEntryPointsAndMayUnloadWhenNoInstanceLives)
{
    std::filesystem::remove(soundbanks());
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
    EXPECT_EQ(home.count(), 0) << "a scan touches no disk";
    auto* const canUnload = library.find<decltype(ACFCanUnloadNow)>("ACFCanUnloadNow");
    EXPECT_EQ(canUnload(), AAX_SUCCESS);
    const std::unique_ptr<AAX_IEffectParameters> instance(effect.create());
    EXPECT_EQ(canUnload(), 1); // and 0 again when `library` goes
}

TEST_F(AaxTest, TheDescriptionSaysStepByStepWhatTheInstrumentIs)
{
    const LoadedLibrary library;
    TakenDescription effect;
    ASSERT_EQ(library.describe(effect), AAX_SUCCESS);
    EXPECT_THAT(library.services.failures, ElementsAre());
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
    for (const ProcessType& type : effect.types) {
        const InstrumentSetup& setup = type.setup;
        const StemFormat stems = &type == &effect.types[0] ? 1 : 65538;
        EXPECT_EQ(setup.inputStemFormat, stems);
        EXPECT_EQ(setup.outputStemFormat, stems);
        EXPECT_EQ(fourText(setup.manufacturerId) + fourText(setup.productId), "QuilZPHR");
        EXPECT_EQ(setup.audioSuiteId, 0);
        EXPECT_EQ(setup.hybridInputStemFormat + setup.hybridOutputStemFormat, 0u);
        EXPECT_EQ(setup.additionalInputMidiNodes + setup.numMeters + setup.auxiliaryOutputStems, 0);
        EXPECT_FALSE(setup.useHostGeneratedGui);

        std::vector<std::string> ports; // that are not empty: number, name, mask, bytes
        const FieldKind kKinds[] = {FieldKind::AudioIn,        FieldKind::AudioOut,
                                    FieldKind::BufferLength,   FieldKind::Clock,
                                    FieldKind::LocalInputNode, FieldKind::GlobalNode,
                                    FieldKind::TransportNode};
        for (std::size_t port = 0; port < kPorts; ++port) {
            const Field& field = type.fields[port];
            if (field.kind == FieldKind::Empty)
                continue;
            EXPECT_EQ(field.kind, port < std::size(kKinds) ? kKinds[port] : FieldKind::Data);
            ports.push_back(std::to_string(port) + field.name + " " + std::to_string(field.mask) +
                            " " + std::to_string(field.bytes));
        }
        EXPECT_THAT(ports,
                    ElementsAre("0 0 0", "1 0 0", "2 0 0", "3 0 0", "4The Zephra 1 0",
                                "5GlobalMIDI 1 0", "6Transport 65535 0", "22 0 8", "24 0 8"));
    }
}

TEST_F(AaxTest, AFaultIsAssertedAndTheEffectAddedAllTheSameIfThatIsPossible)
{
    constexpr struct {
        const char* operation;
        AAX_Result returned;
    } kRows[] = {
        {"AddName", 0},           {"AddCategory", 0},         {"AddProcess", 0},
        {"AddProperty", 0},       {"NewPropertyMap", 0},      {"SetProperties", 0},
        {"AddPackageName", 0},    {"AddDataModelCreator", 0}, {"SetManufacturerName", 0},
        {"SetPackageVersion", 0}, {"NewDescriptor", -20004},  {"AddEffect", -20099},
    };
    for (const auto& row : kRows) {
        const LoadedLibrary library;
        TakenDescription effect;
        effect.failing = row.operation;
        EXPECT_EQ(library.describe(effect), row.returned) << row.operation;
        EXPECT_EQ(effect.calls.back() == "SetPackageVersion 1", row.returned == AAX_SUCCESS)
            << row.operation;
        const auto& failures = library.services.failures;
        EXPECT_EQ(failures.empty(), row.returned == AAX_ERROR_NULL_OBJECT) << row.operation;
        EXPECT_THAT(failures, testing::Each("Zephra_Describe.cpp: err == AAX_SUCCESS"));
    }
}

} // namespace
} // namespace zephra::aax
