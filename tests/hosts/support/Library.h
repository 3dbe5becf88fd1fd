// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <dlfcn.h>

#include <cstdio>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

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

/// The words that a command prints.
inline std::vector<std::string> wordsOf(const std::string& command)
{
    std::FILE* const pipe = ::popen(command.c_str(), "r");
    std::string text;
    for (int c; pipe && (c = std::fgetc(pipe)) != EOF;)
        text += static_cast<char>(c);
    if (!pipe || ::pclose(pipe) != 0)
        throw std::runtime_error("it fails: " + command);
    std::istringstream words(text);
    return {std::istream_iterator<std::string>(words), {}};
}

/// What others find in a library, sorted by name.
inline std::vector<std::string> definedSymbols(const std::string& path)
{
    return wordsOf("nm -D --defined-only -f posix '" + path + "' | cut -d ' ' -f 1");
}
/// What it loads.
inline std::vector<std::string> neededLibraries(const std::string& path)
{
    return wordsOf("objdump -p '" + path + "' | sed -n 's/^ *NEEDED *//p'");
}

} // namespace zephra::test
