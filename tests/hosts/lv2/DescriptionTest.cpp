// SPDX-License-Identifier: GPL-3.0-or-later
#include "controls/ControlText.h"
#include "hosts/support/Home.h"
#include "hosts/support/Lv2Host.h"
#include "library/ProgramFile.h"

#include <gmock/gmock.h>
#include <lilv/lilv.h>

#include <map>
#include <memory>
#include <set>

namespace zephra::lv2 {
namespace {

namespace fs = std::filesystem;

using Node = std::unique_ptr<LilvNode, decltype(&lilv_node_free)>;

/// What a host learns from the bundle without loading the plug-in.
class Lv2Description : public test::HomeTest {
protected:
    Lv2Description()
    {
        copyFactoryBank("Showcase");
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

    /// What lilv restores of a state into an instance, ports included. The ports have moved to
    /// where the patch is: it must stay as it is.
    static void setPort(const char* symbol, void* self, const void* value, std::uint32_t size,
                        std::uint32_t type)
    {
        const ControlInfo* const control = findControl(std::string_view(symbol));
        ASSERT_TRUE(control && control->isAutomatable()) << symbol;
        ASSERT_EQ(type, urid(LV2_ATOM__Float)) << "some hosts take nothing else";
        ASSERT_EQ(size, sizeof(float));
        std::memcpy(&static_cast<Lv2Host*>(self)->port(control->hostIndex), value, size);
    }
    Bytes restored(Lv2Host& host, const LilvNode* subject) const
    {
        const std::unique_ptr<LilvState, decltype(&lilv_state_free)> state(
            lilv_state_new_from_world(world.get(), &uridMap, subject), lilv_state_free);
        LilvInstance instance{host.descriptor, host.handle, nullptr};
        host.controls.fill(-1e9f);
        lilv_state_restore(state.get(), &instance, setPort, &host, 0, nullptr);
        EXPECT_THAT(host.controls, testing::Each(testing::Ne(-1e9f)));
        host.run(16);
        return host.patch();
    }

    std::unique_ptr<LilvWorld, decltype(&lilv_world_free)> world{lilv_world_new(), lilv_world_free};
    const LilvPlugin* plugin = nullptr;
    std::uint32_t ports = 0;
};

TEST_F(Lv2Description, FitsThePluginAndNamesEveryStepAsThePanelDoes)
{
    ASSERT_EQ(ports, NumPorts);
    EXPECT_EQ(lilv_plugin_get_latency_port_index(plugin), LatencyOut);
    int portsWithSteps = 0;
    for (int i = 0; i < kNumHostParameters; ++i) {
        const ControlInfo& control = *findControl(kHostParameters[static_cast<std::size_t>(i)].id);
        SCOPED_TRACE(control.name);
        const LilvPort* const port =
            lilv_plugin_get_port_by_index(plugin, FirstControl + static_cast<std::uint32_t>(i));
        const auto has = [&](const char* property) {
            return lilv_port_has_property(plugin, port,
                                          uri(std::string(LV2_CORE_PREFIX) + property).get());
        };
        const Node name(lilv_port_get_name(plugin, port), lilv_node_free);
        EXPECT_STREQ(lilv_node_as_string(name.get()), control.hostName);
        EXPECT_STREQ(lilv_node_as_string(lilv_port_get_symbol(plugin, port)), control.name);

        LilvNode* ends[3] = {}; // default, minimum, maximum
        lilv_port_get_range(plugin, port, &ends[0], &ends[1], &ends[2]);
        const float expected[] = {control.defaultValue / control.scale, 0.0f, 1.0f};
        for (const int end : {0, 1, 2}) {
            EXPECT_NEAR(portScale(i).toNormalised(lilv_node_as_float(ends[end])), expected[end],
                        end == 0 ? 1e-6f : 0.0f);
            lilv_node_free(ends[end]);
        }

        EXPECT_EQ(has("toggled"), control.text == TextRule::TwoWords);
        LilvScalePoints* const points = lilv_port_get_scale_points(plugin, port);
        std::set<float> values;
        LILV_FOREACH(scale_points, at, points)
        {
            const LilvScalePoint* const point = lilv_scale_points_get(points, at);
            const float value = lilv_node_as_float(lilv_scale_point_get_value(point));
            values.insert(value);
            EXPECT_EQ(lilv_node_as_string(lilv_scale_point_get_label(point)),
                      controlText(control.id, value));
        }
        lilv_scale_points_free(points);
        const bool named = has("enumeration") || has("toggled");
        EXPECT_EQ(values.size(), named ? static_cast<std::size_t>(control.scale) + 1 : 0);
        portsWithSteps += named;
    }
    EXPECT_EQ(portsWithSteps, 22);
}

TEST_F(Lv2Description, PresetsAreTheFactoryPatchesToTheBitAndTheFirstIsTheStart)
{
    Lv2Host host;
    const Bytes start = host.patch();
    EXPECT_EQ(restored(host, uri(kPluginUri).get()), start);

    std::map<std::string, fs::path> left;
    for (const auto& entry : fs::recursive_directory_iterator(ZEPHRA_SOUNDBANKS)) {
        fs::path name = entry.path().lexically_relative(ZEPHRA_SOUNDBANKS);
        std::string preset =
            std::string(kPluginUri) + ":preset:" + name.replace_extension().string();
        std::ranges::replace(preset, ' ', '_'); // the consoles of some hosts take no percent signs
        if (entry.path().extension() == ".fxp")
            left[preset] = entry.path();
    }
    EXPECT_GT(left.size(), 100u);
    LilvNodes* const presets =
        lilv_plugin_get_related(plugin, uri("http://lv2plug.in/ns/ext/presets#Preset").get());
    LILV_FOREACH(nodes, at, presets)
    {
        const LilvNode* const preset = lilv_nodes_get(presets, at);
        lilv_world_load_resource(world.get(), preset);
        const auto file = left.find(lilv_node_as_uri(preset));
        ASSERT_NE(file, left.end()) << lilv_node_as_uri(preset);
        EXPECT_EQ(restored(host, preset), readProgramFile(file->second).chunk) << file->second;
        left.erase(file);
    }
    lilv_nodes_free(presets);
    EXPECT_THAT(left, testing::IsEmpty());
}

} // namespace
} // namespace zephra::lv2
