// SPDX-License-Identifier: GPL-3.0-or-later
#include "song/Failure.h"
#include "standalone/Options.h"
#include "standalone/Session.h"

int main(int argc, char** argv)
{
    using namespace zephra;
    return exitStatusOf("zephra", [&] {
        const auto options = standalone::readOptions(argc, argv);
        if (!options)
            return;
        if (options->listDevices)
            standalone::listDevices();
        else
            standalone::Session(*options).run();
    });
}
