// SPDX-License-Identifier: GPL-3.0-or-later
#include "song/Failure.h"
#include "standalone/Options.h"
#include "standalone/Session.h"

#include <exception>
#include <iostream>
#include <string>

namespace zephra::standalone {
namespace {

int run(int argc, char** argv)
{
    std::string fault;
    int status = 0;
    try {
        if (const auto options = readOptions(argc, argv)) {
            if (options->listDevices)
                listDevices();
            else
                Session(*options).run();
        }
    } catch (const Failure& failure) {
        fault = failure.what();
        status = failure.status;
    } catch (const std::exception& error) { // out of memory, for one
        fault = error.what();
        status = kFileStatus;
    }
    if (status != 0)
        std::cerr << "zephra: " << oneLine(fault) << '\n';
    return status;
}

} // namespace
} // namespace zephra::standalone

int main(int argc, char** argv) { return zephra::standalone::run(argc, argv); }
