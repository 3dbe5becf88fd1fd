// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/FreshProcess.h"
#include "torture/Player.h"

#include <atomic>
#include <string_view>

namespace zephra::torture {

namespace {

/// A setting that no patch has.
void setAtRandom(Bench& bench, Instance& plugin)
{
    for (int index = 0; index < plugin.parameterCount(); ++index)
        plugin.setParameter(index, static_cast<float>(bench.below(1001)) / 1000.0f);
}

std::vector<float> valuesOf(Instance& plugin)
{
    std::vector<float> values;
    for (int index = 0; index < plugin.parameterCount(); ++index)
        values.push_back(plugin.parameter(index));
    return values;
}

void comesBackToTheBit(Bench& bench)
{
    Player one(bench), other(bench);
    for (int i = 0; i < bench.rounds(20, 1000); ++i, ++bench.others) {
        setAtRandom(bench, one.plugin());
        const Bytes state = one.plugin().state();
        setAtRandom(bench, other.plugin());
        other.plugin().restore(state);
        require(valuesOf(other.plugin()) == valuesOf(one.plugin()),
                "values are other than those that were saved");
        require(other.plugin().state() == state, "saved again the state is another");
        one.play(64);
        other.play(64);
    }
    bench.unit = "states";
}

/// A phrase as it sounds right after the state has been restored.
std::vector<float> phraseFrom(Bench& bench, const Bytes& state)
{
    Player player(bench);
    player.plugin().restore(state);
    std::vector<float> sound = valuesOf(player.plugin());
    for (int i = 0; i < 40; ++i) {
        player.play(512, i % 10 ? std::vector<Event>{}
                                : std::vector{noteOn(7, 48 + i % 7), noteOn(9, 55 + i % 5)});
        sound.insert(sound.end(), player.left().begin(), player.left().end());
        sound.insert(sound.end(), player.right().begin(), player.right().end());
    }
    return sound;
}

void soundsAsBeforeInAFreshProcess(Bench& bench)
{
    for (int i = 0; i < bench.rounds(2, 30); ++i, ++bench.others) {
        const unsigned seed = bench.random();
        const std::vector<float> saved = test::inFreshProcess([&bench, seed] {
            bench.random.seed(seed);
            const auto instance = bench.format.open();
            instance->turn(true);
            setAtRandom(bench, *instance);
            const Bytes state = instance->state();
            return std::vector<float>(state.begin(), state.end());
        });
        const Bytes state(saved.begin(), saved.end());
        const std::vector<float> first =
            test::inFreshProcess([&] { return phraseFrom(bench, state); });
        const std::vector<float> second =
            test::inFreshProcess([&] { return phraseFrom(bench, state); });
        require(first == second, "two processes make different sound of one state");
    }
    bench.unit = "states";
}

void foreignAndDamaged(Bench& bench)
{
    Player player(bench);
    Instance& plugin = player.plugin();
    const Bytes good = plugin.state();
    const std::vector<float> values = valuesOf(plugin);
    const auto survives = [&](const Bytes& state) {
        plugin.restore(state);
        player.play(64, {noteOn(0, 60)});
        ++bench.others;
    };
    for (const std::string_view text :
         {"", "x", "CcnKFPCh of another plug-in", "<?xml version=\"1.0\"?><state/>"})
        survives({text.begin(), text.end()});
    for (int i = 0; i < bench.rounds(100, 5000); ++i) {
        Bytes bad(static_cast<std::size_t>(bench.below(5000)));
        for (std::uint8_t& byte : bad)
            byte = static_cast<std::uint8_t>(bench.below(256));
        survives(bad);
        bad = good;
        bad.resize(static_cast<std::size_t>(bench.below(static_cast<int>(good.size()))));
        survives(bad);
        bad = good;
        for (int flips = 1 + bench.below(10); flips > 0; --flips)
            bad[static_cast<std::size_t>(bench.below(static_cast<int>(bad.size())))] ^=
                static_cast<std::uint8_t>(1 << bench.below(8));
        survives(bad);
    }
    plugin.restore(good);
    require(valuesOf(plugin) == values, "the good state does not come back");
    bench.unit = "states";
}

void whilePlaying(Bench& bench)
{
    if (!bench.format.freedoms().stateWhilePlaying)
        throw Skip("its hosts stop it to save and restore");
    Player player(bench);
    Instance& plugin = player.plugin();
    std::vector<Bytes> states;
    for (int i = 0; i < 4; ++i) {
        setAtRandom(bench, plugin);
        states.push_back(plugin.state());
    }
    std::atomic<long> restored{0}, changed{0};
    const auto restoreNext = [&] {
        const auto& state = states[static_cast<std::size_t>(restored) % states.size()];
        plugin.restore(state);
        changed += plugin.state() != state;
        ++restored;
    };
    {
        const Beside user(restoreNext);
        for (int i = 0; i < bench.rounds(200, 10000) || restored < 20; ++i)
            player.play(256, {noteOn(0, 36 + i % 60)});
    }
    require(changed == 0, "a state that was restored is another when saved again");
    bench.others = restored;
    bench.unit = "states";
}

constexpr Check kChecks[] = {
    {"state.bits", "every parameter comes back to the bit", comesBackToTheBit},
    {"state.process", "a state sounds the same in every fresh process",
     soundsAsBeforeInAFreshProcess},
    {"state.damaged", "states of others and damaged ones do no harm", foreignAndDamaged},
    {"state.playing", "state is saved and restored while it plays", whilePlaying},
};

} // namespace

std::span<const Check> stateChecks() { return kChecks; }

} // namespace zephra::torture
