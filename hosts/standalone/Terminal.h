// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <string_view>

namespace zephra::standalone {

/// The terminal that the program was started in: keys as they are typed, a line that is drawn
/// over and over, and the title of the window. Whatever ends the program, a crash included, the
/// terminal is left as it was found. One object a process. [ui]
class Terminal {
public:
    Terminal();
    ~Terminal();
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    bool hasKeys() const noexcept { return rawNow; } ///< somebody can type
    bool hasLine() const noexcept { return lineShown; }
    int columns() const noexcept;

    /// Takes the terminal over, if this is a terminal and the program is in its foreground.
    void enter();
    /// Gives it back.
    void leave();
    /// What was typed; waits for it. Nothing if the terminal has gone: `hasKeys` is false then.
    std::string read();

    void drawLine(std::string_view text); ///< without a line break, as wide as the terminal at most
    void setTitle(std::string_view text);
    /// A whole line of text, above the drawn one.
    void say(std::string_view text);

private:
    bool keysWanted = false, lineShown = false;
    bool rawNow = false;
};

/// `text` without what a terminal would obey instead of showing it: control characters and bytes
/// that are no UTF-8 become "*".
std::string printable(std::string_view text);

} // namespace zephra::standalone
