// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "library/PatchLibrary.h"
#include "support/LibraryTree.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <functional>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

namespace zephra {

using Names = std::vector<std::string>;
using Act = std::function<bool()>;

/// A library on a tree. Paths are written below the root and with slashes.
class LibraryRig : public testing::Test {
protected:
    void open(std::initializer_list<const char*> names,
              std::vector<std::string> categories = PatchLibrary::kBuiltInCategories)
    {
        tree = std::make_unique<test::LibraryTree>(names);
        library = std::make_unique<PatchLibrary>(
            tree->root(), host, LibraryFiles::Access::ReadWrite, std::move(categories));
        host.texts.clear();
    }
    PathText path(std::string name) const
    {
        std::ranges::replace(name, '/', '\\');
        return library->root() + name;
    }
    PatchEntry entry(const std::string& name) const
    {
        const PatchEntry* found = library->findByPath(path(name));
        for (const PatchEntry& inTrash : library->trash())
            if (inTrash.path == path(name))
                found = &inTrash;
        EXPECT_NE(found, nullptr) << name;
        return found ? *found : PatchEntry();
    }
    PatchFolder folder(const std::string& name) const
    {
        const PatchFolder* found = library->folderByPath(path(name + "/"));
        EXPECT_NE(found, nullptr) << name;
        return found ? *found : PatchFolder();
    }
    /// Clears what was selected before; nullptr: no bank.
    void select(const char* bank, std::initializer_list<const char*> categories = {})
    {
        const LibraryColumns& columns = library->columns();
        library->filter.bankRow = bank ? columns.bankRowNamed(bank) : -1;
        library->filter.categorySelected.assign(columns.categories.size(), false);
        for (const char* name : categories)
            library->filter.categorySelected.at(
                static_cast<std::size_t>(columns.categoryRowNamed(name))) = true;
    }
    /// The view as the filter has it.
    Names shown(const std::string& current = "none")
    {
        library->buildView(path(current));
        Names names;
        for (const PatchEntry* row : library->view.rows)
            names.emplace_back(row->name());
        return names;
    }
    /// What a command did to the disk: what went, marked "-", and what came, "+". A folder does not
    /// come by being emptied.
    Names changes(const Act& act, bool expected)
    {
        const Names before = tree->names();
        host.texts.clear();
        EXPECT_EQ(act(), expected);
        const Names after = tree->names();
        Names found;
        for (const std::string& name : before)
            if (!std::ranges::binary_search(after, name))
                found.push_back("-" + name);
        for (const std::string& name : after)
            if (std::ranges::none_of(before, [&](const std::string& old) {
                    return name.ends_with('/') ? old.starts_with(name) : old == name;
                }))
                found.push_back("+" + name);
        return found;
    }

    test::RecordingLibraryHost host;
    std::unique_ptr<test::LibraryTree> tree;
    std::unique_ptr<PatchLibrary> library;
};

} // namespace zephra
