// SPDX-License-Identifier: GPL-3.0-or-later
#include "CommandsRig.h"

#include <gmock/gmock.h>

namespace zephra {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;

struct RunGenetics : Commands {
    /// Names of the parents that were bred, as the sound side gets them.
    Names run(bool resetSelection, bool randomParents)
    {
        Names bred;
        library->runGenetics(resetSelection, randomParents, 0.25f, [&](GeneticsState& state) {
            for (std::size_t parent = 0; parent < state.parentCount; ++parent)
                bred.emplace_back(state.parents[parent].name());
            EXPECT_EQ(state.mix, 0.25f);
            state.seed = 0xab;
        });
        return bred;
    }
};

TEST_F(RunGenetics, BreedsWhatIsSelectedElseNeighbours)
{
    open({"A/a.fxp", "A/b.fxp", "A/c.fxp", "A/d.fxp", "A/e.fxp"});
    library->buildView(path("A/e.fxp"));
    EXPECT_THAT(run(false, false), IsEmpty()) << "no parents yet";
    EXPECT_EQ(library->genetics.seed, 0u);
    EXPECT_THAT(run(true, false), ElementsAre("d", "e"));
    EXPECT_EQ(library->view.selectedCount, 2);
    library->view.select(0, true);
    EXPECT_THAT(run(false, false), ElementsAre("d", "e")) << "the parents stay";
    EXPECT_THAT(run(true, false), ElementsAre("a", "d", "e"));
    library->view.select(2, true);
    EXPECT_THAT(run(true, false), ElementsAre("c", "d", "e")) << "the first of four makes room";
    EXPECT_EQ(library->genetics.seed, 0xabu);
    EXPECT_EQ(library->genetics.mix, 0.25f);
    library->reload(true);
    EXPECT_THAT(run(false, false), ElementsAre("c", "d", "e"));
}

TEST_F(RunGenetics, RandomParentsAreAPairOfTheView)
{
    open({"A/a.fxp", "A/b.fxp", "A/c.fxp", "B/d.fxp"});
    library->filter.bankRow = library->columns().bankRowNamed("A");
    library->buildView(path("A/a.fxp"));
    for (int i = 0; i < 20; ++i) {
        const Names bred = run(true, true);
        ASSERT_EQ(bred.size(), 2u);
        EXPECT_LT(bred[0], bred[1]);
        EXPECT_LT(bred[1], "d");
        EXPECT_EQ(library->view.currentRow, -1);
    }
    library->filter.bankRow = library->columns().bankRowNamed("B");
    library->buildView({});
    EXPECT_THAT(run(true, true), IsEmpty()) << "one patch has no children";
}

TEST_F(RunGenetics, ChildrenGetFilesOfTheirOwn)
{
    open({"A/a.fxp"});
    library->genetics.seed = 0x1f3a;
    PathText child;
    ASSERT_TRUE(library->createChildFile(child, true));
    EXPECT_THAT(tree->names(), ElementsAre("A/a.fxp", MatchesRegex("Genetics/[0-9]{6}-[0-9]{6}-1F3A"
                                                                   "\\.fxp")));
    ASSERT_NE(library->findByPath(child), nullptr);
    EXPECT_EQ(library->bankNameOf(*library->findByPath(child)), "Genetics");
}

} // namespace
} // namespace zephra
