// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "library/LibraryHost.h"

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace zephra {

/// A list of the library, as long as any library should get. Faults are shown to the user, since
/// they mean a file tree out of all proportion or a slip of the program.
template <class T> class BoundedList {
public:
    static constexpr std::size_t kMost = 220000;

    /// `number` tells in messages which list it is.
    BoundedList(LibraryHost& listHost, int number) : host(listHost), code(number) {}

    /// False if the list is full; the first such element is reported.
    bool add(T element)
    {
        if (elements.size() < kMost) {
            elements.push_back(std::move(element));
            return true;
        }
        if (!std::exchange(overflowed, true))
            report("Array max size exceeded", kMost);
        return false;
    }
    void clear()
    {
        elements.clear();
        overflowed = false;
    }

    /// An index beyond the list is reported and gives an empty element.
    const T& at(std::size_t index) const
    {
        static const T kNone{};
        if (index < elements.size())
            return elements[index];
        report("Index out of range", index);
        return kNone;
    }

    std::size_t size() const noexcept { return elements.size(); }
    bool empty() const noexcept { return elements.empty(); }
    auto begin() const noexcept { return elements.begin(); }
    auto end() const noexcept { return elements.end(); }
    std::vector<T>& all() noexcept { return elements; }
    const std::vector<T>& all() const noexcept { return elements; }

private:
    void report(const char* what, std::size_t index) const
    {
        host.showMessage("Error", std::string(what) + " [" + std::to_string(index) +
                                      "] / max: " + std::to_string(elements.size()) +
                                      " (Code: " + std::to_string(code) + ")");
    }

    LibraryHost& host;
    int code;
    std::vector<T> elements;
    bool overflowed = false;
};

} // namespace zephra
