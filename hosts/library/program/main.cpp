// SPDX-License-Identifier: GPL-3.0-or-later
#include "librarian/CommandLine.h"

#include <csignal>
#include <exception>
#include <iostream>

int main(int argc, char** argv)
{
    std::signal(SIGPIPE, SIG_IGN); // a closed pipe is then an error like any other
    try {
        return zephra::librarian::run(argc, argv);
    } catch (const std::exception& error) { // out of memory, for one
        std::cerr << "zephra-library: " << error.what() << '\n';
        return 1;
    }
}
