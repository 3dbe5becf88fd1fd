// SPDX-License-Identifier: GPL-3.0-or-later
#include "hosts/aax/AaxHost.h"

#include <gmock/gmock.h>

#include <chrono>
#include <cstdio>

namespace zephra::aax {
namespace {

using testing::ElementsAre;
using testing::Pair;

std::string outputOf(const char* command)
{
    std::string text;
    FILE* const pipe = ::popen(command, "r");
    for (int c; pipe && (c = std::fgetc(pipe)) != EOF;)
        text += static_cast<char>(c);
    ::pclose(pipe);
    return text;
}

TEST_F(AaxTest, TheLibraryExportsSevenEntryPointsAndNothingElse)
{
    const std::string symbols =
        outputOf("nm -D --defined-only -f posix '" ZEPHRA_AAX_LIBRARY "' | cut -d ' ' -f 1");
    EXPECT_EQ(symbols, "ACFCanUnloadNow\nACFGetClassFactory\nACFGetSDKVersion\n"
                       "ACFRegisterComponent\nACFRegisterPlugin\nACFShutdown\nACFStartup\n");
    seen("exports", std::ranges::count(symbols, '\n'));
}

TEST_F(AaxTest, AHostFindsItsWayFromTheEntryPointsAndMayUnloadWhenNoInstanceLives)
{
    std::filesystem::remove(soundbanks());
    const auto before = std::chrono::steady_clock::now();
    const LoadedLibrary library;
    const std::chrono::duration<double, std::milli> loading =
        std::chrono::steady_clock::now() - before;
    seen("load", loading.count(), " ms");

    std::uint64_t version = 0;
    EXPECT_EQ(library.procedure<decltype(ACFGetSDKVersion)>("ACFGetSDKVersion")(&version), 0);
    EXPECT_EQ(version, 1u);
    std::uint32_t components = 0;
    EXPECT_EQ(library.procedure<decltype(ACFRegisterPlugin)>("ACFRegisterPlugin")(&components), 0);
    EXPECT_EQ(components, 1u);
    TypeId classId = 0;
    const auto registerComponent =
        library.procedure<decltype(ACFRegisterComponent)>("ACFRegisterComponent");
    EXPECT_NE(registerComponent(components, &classId), AAX_SUCCESS);
    EXPECT_EQ(registerComponent(0, &classId), AAX_SUCCESS);
    DescribeProc describe = nullptr;
    const auto classFactory = library.procedure<decltype(ACFGetClassFactory)>("ACFGetClassFactory");
    EXPECT_NE(classFactory(classId + 1, &describe), AAX_SUCCESS);
    EXPECT_EQ(classFactory(classId, &describe), AAX_SUCCESS);

    TakenCollection collection;
    EXPECT_EQ(describe(collection), AAX_SUCCESS);
    EXPECT_EQ(home.count(), 0) << "a scan touches no disk";
    const auto canUnload = library.procedure<decltype(ACFCanUnloadNow)>("ACFCanUnloadNow");
    EXPECT_EQ(canUnload(), AAX_SUCCESS);
    const std::unique_ptr<AAX_IEffectParameters> instance(collection.create());
    EXPECT_EQ(canUnload(), 1); // and 0 again when `library` goes
}

TEST_F(AaxTest, TheDescriptionSaysWhatTheInstrumentIs)
{
    const LoadedLibrary library;
    TakenCollection effect;
    ASSERT_EQ(library.describe(effect), AAX_SUCCESS);
    EXPECT_TRUE(library.services.failures.empty());

    EXPECT_THAT(effect.names, ElementsAre("The Zephra", "Zephra", "ZP"));
    EXPECT_EQ(effect.category, 2048u);
    seen("describe 1, 2", effect.names[0], ", ", effect.names[1], ", ", effect.names[2],
         ", category ", effect.category);
    EXPECT_THAT(effect.properties, ElementsAre(Pair(58, 1), Pair(304, 0), Pair(308, 1)));
    seen("describe 4", "58 = 1, 304 = 0, 308 = 1");
    EXPECT_TRUE(effect.create);
    EXPECT_EQ(effect.identifier, "com.quil.aax.zephra");
    EXPECT_EQ(effect.manufacturer, "Quillon Audio Software");
    EXPECT_THAT(effect.packageNames, ElementsAre("The Zephra", "Zephra", "ZP"));
    EXPECT_EQ(effect.version, 1u);
    seen("describe 5..7", effect.identifier, " by ", effect.manufacturer, ", version 1");

    const struct {
        StemFormat stems;
        std::string id;
    } kTypes[] = {{1, "ZP1M"}, {65538, "ZP1N"}};
    ASSERT_EQ(effect.types.size(), std::size(kTypes));
    for (std::size_t i = 0; i < std::size(kTypes); ++i) {
        const auto& [type, properties] = effect.types[i];
        const InstrumentSetup& setup = type.setup;
        EXPECT_EQ(setup.inputStemFormat, kTypes[i].stems);
        EXPECT_EQ(setup.outputStemFormat, kTypes[i].stems);
        EXPECT_EQ(fourText(setup.manufacturerId) + fourText(setup.productId) +
                      fourText(setup.pluginId),
                  "QuilZPHR" + kTypes[i].id);
        EXPECT_EQ(setup.audioSuiteId, 0);
        EXPECT_EQ(setup.hybridInputStemFormat + setup.hybridOutputStemFormat, 0u);
        EXPECT_EQ(setup.additionalInputMidiNodes + setup.numMeters + setup.auxiliaryOutputStems, 0);
        EXPECT_FALSE(setup.useHostGeneratedGui);
        EXPECT_THAT(properties, ElementsAre(Pair(60, 1)));

        std::map<std::size_t, Field> fields; // that are not empty
        for (std::size_t port = 0; port < kPorts; ++port) {
            if (type.fields[port].kind != FieldKind::Empty)
                fields[port] = type.fields[port];
        }
        const auto field = [](FieldKind kind, const char* name, unsigned mask, std::size_t bytes) {
            return testing::AllOf(testing::Field(&Field::kind, kind),
                                  testing::Field(&Field::name, testing::StrEq(name)),
                                  testing::Field(&Field::mask, mask),
                                  testing::Field(&Field::bytes, bytes));
        };
        EXPECT_THAT(fields,
                    ElementsAre(Pair(0, field(FieldKind::AudioIn, "", 0, 0)),
                                Pair(1, field(FieldKind::AudioOut, "", 0, 0)),
                                Pair(2, field(FieldKind::BufferLength, "", 0, 0)),
                                Pair(3, field(FieldKind::Clock, "", 0, 0)),
                                Pair(4, field(FieldKind::LocalInputNode, "The Zephra", 1, 0)),
                                Pair(5, field(FieldKind::GlobalNode, "GlobalMIDI", 1, 0)),
                                Pair(6, field(FieldKind::TransportNode, "Transport", 65535, 0)),
                                Pair(22, field(FieldKind::Data, "", 0, 8)),
                                Pair(24, field(FieldKind::Data, "", 0, 8))));
        seen("describe 3", kTypes[i].id, ": stems ", setup.outputStemFormat, ", ", fields.size(),
             " ports in use, may be bypassed");
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
        TakenCollection effect;
        effect.fault = {row.operation, -20099};
        EXPECT_EQ(library.describe(effect), row.returned) << row.operation;
        EXPECT_EQ(effect.version, row.returned == AAX_SUCCESS ? 1u : 0u) << row.operation;
        const auto& failures = library.services.failures;
        EXPECT_EQ(failures.empty(), row.returned != AAX_SUCCESS) << row.operation;
        EXPECT_THAT(failures, testing::Each("Zephra_Describe.cpp: err == AAX_SUCCESS"));
        seen("describe, fault", row.operation, ": ", failures.size(), " assertions, returns ",
             row.returned);
    }
}

} // namespace
} // namespace zephra::aax
