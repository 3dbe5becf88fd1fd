// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/FreshProcess.h"
#include "torture/Torture.h"

#include <atomic>
#include <thread>

namespace zephra::torture {
namespace {

std::vector<float> valuesOf(Plugin& plugin)
{
    std::vector<float> values;
    for (int index = 0; index < kNumHostParameters; ++index)
        values.push_back(plugin.value(index));
    return values;
}

/// Steps and switches come to their grid, and stay there.
TEST_P(Torture, AParameterHasTheValueThatIsSet)
{
    const auto plugin = format.open(48000.0, 512);
    for (int index = 0; index < kNumHostParameters; ++index) {
        for (int i = 0; i < rounds(20, 500); ++i) {
            const float value = i < 2 ? static_cast<float>(i) : dice.value();
            plugin->set(index, value);
            const float held = plugin->value(index);
            EXPECT_NEAR(held, value, i < 2 ? 0.0f : 0.5f + 1e-6f) << index;
            plugin->set(index, held);
            EXPECT_EQ(plugin->value(index), held) << index << " wanders";
        }
    }
}

TEST_P(Torture, AStateComesBackToTheBit)
{
    Player one(format), other(format);
    for (int i = 0; i < rounds(20, 1000); ++i) {
        dice.setAll(*one.plugin);
        const Bytes state = one.plugin->state();
        one.plugin->restore(state); // some values are shown off their grid until then
        dice.setAll(*other.plugin);
        other.plugin->restore(state);
        EXPECT_EQ(valuesOf(*other.plugin), valuesOf(*one.plugin));
        EXPECT_EQ(other.plugin->state(), state);
        one.play(64);
        other.play(64);
    }
}

TEST_P(Torture, AStateSoundsTheSameInEveryFreshProcess)
{
    const auto state = test::inFreshProcess([&] {
        const auto plugin = format.open(48000.0, 512);
        dice.setAll(*plugin);
        const Bytes bytes = plugin->state();
        return std::vector<float>(bytes.begin(), bytes.end());
    });
    const auto phrase = [&] {
        Player player(format);
        player.plugin->restore({state.begin(), state.end()});
        std::vector<float> sound = valuesOf(*player.plugin);
        for (int i = 0; i < 40; ++i) {
            player.play(512, i % 10 ? std::vector<Event>{} : std::vector{noteOn(7, 48 + i % 7)});
            const auto part = player.sound();
            sound.insert(sound.end(), part.begin(), part.end());
        }
        return sound;
    };
    EXPECT_TRUE(test::inFreshProcess(phrase) == test::inFreshProcess(phrase));
}

/// Does it over and over on another thread while that lives.
template <class Step> std::jthread beside(Step step)
{
    return std::jthread([step](const std::stop_token& stop) mutable {
        for (; !stop.stop_requested(); std::this_thread::yield())
            step();
    });
}

TEST_P(Torture, ParametersAndStateMoveOnOtherThreadsWhileItPlays)
{
    if (format.users == 0)
        GTEST_SKIP() << "its hosts set parameters where they play";
    std::atomic<long> calls{0}, changed{0};
    {
        Player player(format);
        std::vector<std::jthread> users;
        for (int user = 1; user <= format.users; ++user) {
            users.push_back(beside([&, own = Dice(static_cast<unsigned>(user))]() mutable {
                player.plugin->set(own.below(kNumHostParameters), own.anyValue());
                player.plugin->value(own.below(kNumHostParameters));
                ++calls;
            }));
        }
        for (int i = 0; i < rounds(150, 5000) || calls < 1000; ++i)
            player.play(256, dice.events(4, 256));
    }
    Player player(format);
    Plugin& plugin = *player.plugin;
    std::vector<Bytes> states;
    for (int i = 0; i < 4; ++i) {
        dice.setAll(plugin);
        states.push_back(plugin.state());
    }
    calls = 0;
    {
        const std::jthread user = beside([&] {
            const Bytes& state = states[static_cast<std::size_t>(calls) % states.size()];
            plugin.restore(state);
            changed += plugin.state() != state;
            ++calls;
        });
        for (int i = 0; i < rounds(150, 5000) || calls < 20; ++i)
            player.play(256, {noteOn(0, 36 + i % 60)});
    }
    EXPECT_EQ(changed, 0) << "a state that was restored is another when saved again";
}

} // namespace
} // namespace zephra::torture
