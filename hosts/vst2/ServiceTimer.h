// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace zephra::vst2 {

/// Calls all plug-ins of the process fifty times a second, on one thread that exists while there
/// is any. For what neither the audio thread may do nor every host gives a moment for.
class ServiceTimer {
public:
    class Client {
    public:
        /// Takes a few milliseconds at most and never calls the host, who may wait for remove().
        virtual void tick() = 0;

    protected:
        ~Client() = default;
    };

    // [!audio] Once each per client; no tick of it is running when remove() returns.
    static void add(Client& client);
    static void remove(Client& client);
};

} // namespace zephra::vst2
