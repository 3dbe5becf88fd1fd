// SPDX-License-Identifier: GPL-3.0-or-later
#include "torture/InChild.h"

#include "torture/Check.h"

#include <cstdio>
#include <memory>
#include <sys/wait.h>
#include <unistd.h>

namespace zephra::torture {

std::vector<float> inChild(const std::function<std::vector<float>()>& make)
{
    // A file without a name, read when the child has ended.
    const std::unique_ptr<std::FILE, decltype(&std::fclose)> file(std::tmpfile(), &std::fclose);
    require(file != nullptr, "no temporary file");
    const pid_t child = ::fork();
    if (child == 0) {
        try {
            const std::vector<float> made = make();
            std::fwrite(made.data(), sizeof(float), made.size(), file.get());
            std::fflush(file.get());
            ::_exit(0);
        } catch (const std::exception& e) {
            std::fputs(e.what(), file.get());
            std::fflush(file.get());
            ::_exit(1);
        }
    }
    int status = -1;
    ::waitpid(child, &status, 0);
    std::fseek(file.get(), 0, SEEK_END);
    const auto size = static_cast<std::size_t>(std::ftell(file.get()));
    std::rewind(file.get());
    std::string text(size, '\0');
    require(std::fread(text.data(), 1, size, file.get()) == size, "a temporary file is cut");
    require(WIFEXITED(status), "a child has crashed");
    require(WEXITSTATUS(status) == 0, text);
    std::vector<float> made(size / sizeof(float));
    text.copy(reinterpret_cast<char*>(made.data()), size);
    return made;
}

} // namespace zephra::torture
