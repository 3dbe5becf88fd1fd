// SPDX-License-Identifier: GPL-3.0-or-later
#include "controls/ControlText.h"
#include "Home.h"
#include "library/ProgramFile.h"
#include "Lv2Host.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <lilv/lilv.h>

#include <filesystem>
#include <map>
#include <memory>
#include <set>

namespace zephra::lv2 {
namespace {

namespace fs = std::filesystem;

using Node = std::unique_ptr<LilvNode, decltype(&lilv_node_free)>;

/// What a host learns from the bundle without loading the plug-in.
class Description {
public:
    Description()
    {
        const Node bundle(lilv_new_file_uri(world.get(), nullptr, ZEPHRA_LV2_BUNDLE "/"),
                          lilv_node_free);
        lilv_world_load_bundle(world.get(), bundle.get());
        plugin =
            lilv_plugins_get_by_uri(lilv_world_get_all_plugins(world.get()), uri(kPluginUri).get());
        ports = lilv_plugin_get_num_ports(plugin); // reads all that the manifest refers to
    }

    Node uri(const std::string& text) const
    {
        return {lilv_new_uri(world.get(), text.c_str()), lilv_node_free};
    }
    const LilvPort* port(int index) const
    {
        return lilv_plugin_get_port_by_index(plugin,
                                             FirstControl + static_cast<std::uint32_t>(index));
    }
    bool has(const LilvPort* port, const char* property) const
    {
        return lilv_port_has_property(plugin, port,
                                      uri(std::string(LV2_CORE_PREFIX) + property).get());
    }

    std::unique_ptr<LilvWorld, decltype(&lilv_world_free)> world{lilv_world_new(), lilv_world_free};
    const LilvPlugin* plugin = nullptr;
    std::uint32_t ports = 0;
};

TEST(Description, FitsThePlugin)
{
    const Description description;
    ASSERT_EQ(description.ports, NumPorts);
    EXPECT_EQ(lilv_plugin_get_latency_port_index(description.plugin), LatencyOut);
    for (int i = 0; i < kNumHostParameters; ++i) {
        const ControlInfo& control = *findControl(kHostParameters[static_cast<std::size_t>(i)].id);
        const LilvPort* const port = description.port(i);
        EXPECT_STREQ(lilv_node_as_string(lilv_port_get_symbol(description.plugin, port)),
                     control.name);
        EXPECT_STREQ(lilv_node_as_string(
                         Node(lilv_port_get_name(description.plugin, port), lilv_node_free).get()),
                     control.hostName);

        LilvNode *start = nullptr, *least = nullptr, *most = nullptr;
        lilv_port_get_range(description.plugin, port, &start, &least, &most);
        EXPECT_EQ(portScale(i).toNormalised(lilv_node_as_float(least)), 0.0f) << control.name;
        EXPECT_EQ(portScale(i).toNormalised(lilv_node_as_float(most)), 1.0f) << control.name;
        EXPECT_NEAR(portScale(i).toNormalised(lilv_node_as_float(start)) * control.scale,
                    control.defaultValue, 1e-6)
            << control.name;
        for (LilvNode* const node : {start, least, most})
            lilv_node_free(node);
        EXPECT_EQ(description.has(port, "toggled"), control.text == TextRule::TwoWords);
    }
}

TEST(Description, NamesEveryStepAsThePanelDoes)
{
    const Description description;
    int portsWithSteps = 0;
    for (int i = 0; i < kNumHostParameters; ++i) {
        const int id = kHostParameters[static_cast<std::size_t>(i)].id;
        const LilvPort* const port = description.port(i);
        LilvScalePoints* const points = lilv_port_get_scale_points(description.plugin, port);
        std::set<float> values;
        LILV_FOREACH(scale_points, at, points)
        {
            const LilvScalePoint* const point = lilv_scale_points_get(points, at);
            const float value = lilv_node_as_float(lilv_scale_point_get_value(point));
            values.insert(value);
            EXPECT_EQ(lilv_node_as_string(lilv_scale_point_get_label(point)),
                      controlText(id, value));
        }
        lilv_scale_points_free(points);
        const bool named = description.has(port, "enumeration") || description.has(port, "toggled");
        EXPECT_EQ(values.size(), named ? static_cast<std::size_t>(controlScale(id)) + 1 : 0);
        portsWithSteps += named;
    }
    EXPECT_EQ(portsWithSteps, 22);
}

/// What lilv tells the ports while it restores a state.
struct PortSetter {
    Lv2Host& host;
    int count = 0;

    static void set(const char* symbol, void* self, const void* value, std::uint32_t size,
                    std::uint32_t type)
    {
        auto& setter = *static_cast<PortSetter*>(self);
        const ControlInfo* const control = findControl(std::string_view(symbol));
        ASSERT_TRUE(control && control->isAutomatable()) << symbol;
        ASSERT_EQ(type, setter.host.urids(LV2_ATOM__Float)) << "some hosts take nothing else";
        ASSERT_EQ(size, sizeof(float));
        std::memcpy(&setter.host.controls[static_cast<std::size_t>(control->hostIndex)], value,
                    size);
        ++setter.count;
    }
};

void restore(Lv2Host& host, const Description& description, const LilvNode* subject)
{
    const std::unique_ptr<LilvState, decltype(&lilv_state_free)> state(
        lilv_state_new_from_world(description.world.get(), &host.urids.map, subject),
        lilv_state_free);
    LilvInstance instance{host.descriptor, host.handle, nullptr};
    PortSetter setter{host};
    lilv_state_restore(state.get(), &instance, PortSetter::set, &setter, 0, nullptr);
    EXPECT_EQ(setter.count, kNumHostParameters);
}

std::string presetUri(const fs::path& patch)
{
    std::string uri = std::string(kPluginUri) + ":preset:";
    for (const char c : patch.lexically_relative(ZEPHRA_SOUNDBANKS).replace_extension().string())
        uri += c == ' ' ? '_' : c; // the consoles of some hosts take no percent signs
    return uri;
}

TEST(FactoryPreset, IsTheFactoryPatchToTheBit)
{
    const Home home;
    const Description description;
    Lv2Host host;
    LilvNodes* const presets = lilv_plugin_get_related(
        description.plugin, description.uri("http://lv2plug.in/ns/ext/presets#Preset").get());
    std::map<std::string, fs::path> left;
    for (const auto& entry : fs::recursive_directory_iterator(ZEPHRA_SOUNDBANKS)) {
        if (entry.path().extension() == ".fxp")
            left[presetUri(entry.path())] = entry.path();
    }
    EXPECT_GT(left.size(), 100u);

    LILV_FOREACH(nodes, at, presets)
    {
        const LilvNode* const preset = lilv_nodes_get(presets, at);
        lilv_world_load_resource(description.world.get(), preset);
        restore(host, description, preset);
        host.run(16); // the ports have moved to where the patch is: it must stay as it is

        const auto file = left.find(lilv_node_as_uri(preset));
        ASSERT_NE(file, left.end()) << lilv_node_as_uri(preset);
        EXPECT_EQ(host.patch(), readProgramFile(file->second).chunk) << file->second;
        left.erase(file);
    }
    lilv_nodes_free(presets);
    EXPECT_THAT(left, testing::IsEmpty());
}

TEST(FactoryPreset, IsWhatANewInstanceStartsWith)
{
    const Home home;
    const Description description;
    Lv2Host host;
    const Bytes start = host.patch();
    restore(host, description, description.uri(kPluginUri).get());
    host.run(16);
    EXPECT_EQ(host.patch(), start);
}

} // namespace
} // namespace zephra::lv2
