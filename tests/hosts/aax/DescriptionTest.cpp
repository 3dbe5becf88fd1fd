// SPDX-License-Identifier: GPL-3.0-or-later
#include "hosts/aax/AaxHost.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <iterator>
#include <string>

namespace zephra::aax {
namespace {

using testing::ElementsAre;
using testing::Pair;

std::string output(const std::string& command)
{
    std::string text;
    FILE* const pipe = ::popen(command.c_str(), "r");
    char buffer[4096];
    while (pipe && std::fgets(buffer, sizeof buffer, pipe))
        text += buffer;
    if (pipe)
        ::pclose(pipe);
    return text;
}

TEST_F(AaxTest, TheLibraryExportsSevenEntryPointsAndNothingElse)
{
    const std::string symbols =
        output("nm -D --defined-only --format=posix '" ZEPHRA_AAX_LIBRARY "' | cut -d ' ' -f 1");
    seen("exports", std::to_string(std::count(symbols.begin(), symbols.end(), '\n')));
    EXPECT_EQ(symbols, "ACFCanUnloadNow\nACFGetClassFactory\nACFGetSDKVersion\n"
                       "ACFRegisterComponent\nACFRegisterPlugin\nACFShutdown\nACFStartup\n");
}

TEST_F(AaxTest, AHostFindsItsWayFromTheEntryPointsAndMayUnloadWhenNoInstanceLives)
{
    const auto before = std::chrono::steady_clock::now();
    const LoadedLibrary library;
    const std::chrono::duration<double, std::milli> loading =
        std::chrono::steady_clock::now() - before;
    seen("load", std::to_string(loading.count()) + " ms");

    std::uint64_t version = 0;
    EXPECT_EQ(library.procedure<decltype(ACFGetSDKVersion)>("ACFGetSDKVersion")(&version), 0);
    EXPECT_EQ(version, 1u);
    std::uint32_t components = 0;
    EXPECT_EQ(library.procedure<decltype(ACFRegisterPlugin)>("ACFRegisterPlugin")(&components), 0);
    EXPECT_EQ(components, 1u);

    const auto registerComponent =
        library.procedure<decltype(ACFRegisterComponent)>("ACFRegisterComponent");
    const auto classFactory = library.procedure<decltype(ACFGetClassFactory)>("ACFGetClassFactory");
    TypeId classId = 0;
    DescribeProc describe = nullptr;
    EXPECT_NE(registerComponent(components, &classId), AAX_SUCCESS);
    EXPECT_EQ(registerComponent(0, &classId), AAX_SUCCESS);
    EXPECT_NE(classFactory(classId + 1, &describe), AAX_SUCCESS);
    EXPECT_EQ(classFactory(classId, &describe), AAX_SUCCESS);
    ASSERT_TRUE(describe);

    TakenCollection collection;
    EXPECT_EQ(describe(collection), AAX_SUCCESS);
    EXPECT_EQ(home.count(), 0) << "a scan touches no disk";

    const auto canUnload = library.procedure<decltype(ACFCanUnloadNow)>("ACFCanUnloadNow");
    EXPECT_EQ(canUnload(), AAX_SUCCESS);
    std::unique_ptr<AAX_IEffectParameters> instance(collection.effect.create());
    EXPECT_EQ(canUnload(), 1);
    instance.reset();
    EXPECT_EQ(canUnload(), AAX_SUCCESS);
}

TEST_F(AaxTest, TheDescriptionSaysWhatTheInstrumentIs)
{
    const LoadedLibrary library;
    TakenCollection collection;
    ASSERT_EQ(library.describe(collection), AAX_SUCCESS);
    const TakenEffect& effect = collection.effect;

    EXPECT_EQ(collection.identifier, "com.quil.aax.zephra");
    EXPECT_EQ(collection.manufacturer, "Quillon Audio Software");
    EXPECT_EQ(collection.version, 1u);
    EXPECT_THAT(collection.packageNames, ElementsAre("The Zephra", "Zephra", "ZP"));
    EXPECT_THAT(effect.names, ElementsAre("The Zephra", "Zephra", "ZP"));
    EXPECT_EQ(effect.category, 2048u);
    EXPECT_THAT(effect.properties, ElementsAre(Pair(58, 1), Pair(304, 0), Pair(308, 1)));
    EXPECT_TRUE(effect.create);
    EXPECT_TRUE(library.services.failures.empty());
    seen("effect", collection.identifier + " by " + collection.manufacturer);

    constexpr struct {
        StemFormat stems;
        const char* id;
    } kTypes[] = {{1, "ZP1M"}, {65538, "ZP1N"}};
    ASSERT_EQ(effect.types.size(), std::size(kTypes));
    for (std::size_t i = 0; i < std::size(kTypes); ++i) {
        const auto& [type, properties] = effect.types[i];
        const InstrumentSetup& setup = type.setup;
        EXPECT_EQ(setup.inputStemFormat, kTypes[i].stems);
        EXPECT_EQ(setup.outputStemFormat, kTypes[i].stems);
        EXPECT_EQ(fourText(setup.pluginId), kTypes[i].id);
        EXPECT_EQ(fourText(setup.manufacturerId), "Quil");
        EXPECT_EQ(fourText(setup.productId), "ZPHR");
        EXPECT_EQ(setup.audioSuiteId, 0);
        EXPECT_EQ(setup.hybridInputStemFormat + setup.hybridOutputStemFormat, 0u);
        EXPECT_EQ(setup.additionalInputMidiNodes + setup.numMeters + setup.auxiliaryOutputStems, 0);
        EXPECT_FALSE(setup.useHostGeneratedGui);
        EXPECT_THAT(properties, ElementsAre(Pair(60, 1)));
        EXPECT_TRUE(type.process);
        seen("type", fourText(setup.pluginId) + ", stems " + std::to_string(kTypes[i].stems));

        const struct {
            FieldKind kind;
            std::string name;
            std::uint32_t mask;
            std::size_t bytes;
        } kFields[kPorts] = {
            {FieldKind::AudioIn, "", 0, 0},
            {FieldKind::AudioOut, "", 0, 0},
            {FieldKind::BufferLength, "", 0, 0},
            {FieldKind::Clock, "", 0, 0},
            {FieldKind::LocalInputNode, "The Zephra", 1, 0},
            {FieldKind::GlobalNode, "GlobalMIDI", 1, 0},
            {FieldKind::TransportNode, "Transport", 65535, 0},
            {},
            {},
            {},
            {},
            {},
            {},
            {},
            {},
            {},
            {},
            {},
            {},
            {},
            {},
            {},
            {FieldKind::Data, "", 0, 8},
            {},
            {FieldKind::Data, "", 0, 8},
        };
        for (std::size_t port = 0; port < kPorts; ++port) {
            const Field& field = type.fields[port];
            EXPECT_EQ(field.kind, kFields[port].kind) << port;
            EXPECT_EQ(field.name ? field.name : "", kFields[port].name) << port;
            EXPECT_EQ(field.mask, kFields[port].mask) << port;
            EXPECT_EQ(field.bytes, kFields[port].bytes) << port;
        }
    }
}

TEST_F(AaxTest, AFaultOnTheWayIsAssertedAndTheEffectAddedAllTheSame)
{
    for (const char* operation :
         {"AddName", "AddCategory", "AddProcess", "NewPropertyMap", "AddProperty", "SetProperties",
          "AddDataModelCreator", "SetManufacturerName", "AddPackageName", "SetPackageVersion"}) {
        LoadedLibrary library;
        TakenCollection collection;
        collection.faults = {operation, -1};
        EXPECT_EQ(library.describe(collection), AAX_SUCCESS) << operation;
        EXPECT_EQ(collection.identifier, "com.quil.aax.zephra") << operation;
        EXPECT_EQ(collection.version, 1u) << operation;
        const auto& failures = library.services.failures;
        ASSERT_FALSE(failures.empty()) << operation;
        EXPECT_EQ(failures.front(), "Zephra_Describe.cpp: err == AAX_SUCCESS");
        seen("describe, fault in", std::string(operation) + ": " + std::to_string(failures.size()) +
                                       " x " + failures.front());
    }
}

TEST_F(AaxTest, WithoutADescriptorOrAPlaceInTheCollectionThereIsNoEffect)
{
    constexpr struct {
        const char* operation;
        AAX_Result error, returned;
    } kRows[] = {{"NewDescriptor", -1, -20004}, {"AddEffect", -20099, -20099}};
    for (const auto& row : kRows) {
        const LoadedLibrary library;
        TakenCollection collection;
        collection.faults = {row.operation, row.error};
        EXPECT_EQ(library.describe(collection), row.returned);
        EXPECT_TRUE(collection.packageNames.empty());
        seen("describe, fault in",
             std::string(row.operation) + ": returns " + std::to_string(row.returned));
    }
}

} // namespace
} // namespace zephra::aax
