// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <dlfcn.h>

#include <stdexcept>
#include <string>

namespace zephra::test {

/// A shared library as a host loads it: all at once, its names kept to itself.
class Library {
public:
    explicit Library(const std::string& path)
        : handle(::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL))
    {
        if (!handle)
            throw std::runtime_error(::dlerror());
    }
    ~Library() { ::dlclose(handle); }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;

    template <class Function> Function* find(const char* name) const
    {
        return reinterpret_cast<Function*>(::dlsym(handle, name));
    }

private:
    void* const handle;
};

} // namespace zephra::test
