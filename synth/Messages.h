// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "library/LibraryHost.h"

#include <functional>
#include <string>
#include <string_view>
#include <utility>

namespace zephra {

/// Messages to the user: shown by whoever has a place for them, an open editor or a command line,
/// else only remembered. [ui], never while the audio is held off.
class Messages : public LibraryHost {
public:
    using Handler = std::function<void(std::string_view title, std::string_view text)>;

    /// An empty handler: messages are remembered only.
    void setHandler(Handler shownBy) { handler = std::move(shownBy); }

    void showMessage(std::string_view title, std::string_view text) override
    {
        ++shown;
        last = text;
        if (handler)
            handler(title, text);
    }

    int count() const noexcept { return shown; }
    const std::string& lastText() const noexcept { return last; }

private:
    Handler handler;
    int shown = 0;
    std::string last;
};

} // namespace zephra
