// SPDX-License-Identifier: GPL-3.0-or-later
#include "standalone/Terminal.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstring>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

namespace zephra::standalone {
namespace {

constexpr std::string_view kKeepTitle = "\033[22;2t", kGiveTitleBack = "\033[23;2t";
constexpr std::string_view kClearLine = "\r\033[K";
constexpr int kUsualColumns = 80;

termios found;                               // the terminal's own state
volatile std::sig_atomic_t changed = 0;      // and whether it is another one now
volatile std::sig_atomic_t titleChanged = 0; // likewise of the title

void put(std::string_view text) noexcept
{
    while (!text.empty()) {
        const ssize_t written = ::write(STDOUT_FILENO, text.data(), text.size());
        if (written < 0 && errno != EINTR)
            return;
        text.remove_prefix(written < 0 ? 0 : static_cast<std::size_t>(written));
    }
}

/// Safe in a signal handler.
void restore() noexcept
{
    if (changed)
        ::tcsetattr(STDIN_FILENO, TCSANOW, &found);
    changed = 0;
    if (titleChanged)
        put(kGiveTitleBack);
    titleChanged = 0;
}

void restoreAndDie(int signal)
{
    restore();
    std::raise(signal); // again, now with its usual effect
}

/// Length of the UTF-8 sequence at the start of `text` that a terminal may show, else 0.
std::size_t shownLength(std::string_view text) noexcept
{
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char first = byte(0);
    if (first < 0x80)
        return first >= ' ' && first != 0x7f ? 1 : 0;
    const std::size_t length = first >= 0xf0 ? 4 : first >= 0xe0 ? 3 : 2;
    if (first < 0xc2 || first > 0xf4 || text.size() < length)
        return 0;
    for (std::size_t i = 1; i < length; ++i)
        if ((byte(i) & 0xc0u) != 0x80u)
            return 0;
    return first == 0xc2 && byte(1) < 0xa0 ? 0 : length; // U+0080..U+009F are controls
}

} // namespace

std::string printable(std::string_view text)
{
    std::string shown;
    while (!text.empty()) {
        const std::size_t length = shownLength(text);
        shown += length > 0 ? text.substr(0, length) : "*";
        text.remove_prefix(length > 0 ? length : 1);
    }
    return shown;
}

Terminal::Terminal()
    : keysWanted(::isatty(STDIN_FILENO) == 1), lineShown(::isatty(STDOUT_FILENO) == 1)
{
    struct sigaction dying = {};
    dying.sa_handler = restoreAndDie;
    dying.sa_flags = SA_RESETHAND | SA_NODEFER;
    for (const int signal : {SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGSEGV})
        ::sigaction(signal, &dying, nullptr);
}

Terminal::~Terminal() { leave(); }

void Terminal::enter()
{
    const bool foreground = ::tcgetpgrp(STDIN_FILENO) == ::getpgrp();
    if (!keysWanted || rawNow || !foreground || ::tcgetattr(STDIN_FILENO, &found) != 0)
        return;
    termios raw = found;
    raw.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO); // signals of keys still come
    raw.c_cc[VMIN] = 1; // to be read after a poll; nothing then means that the terminal has gone
    raw.c_cc[VTIME] = 0;
    changed = 1;
    rawNow = ::tcsetattr(STDIN_FILENO, TCSANOW, &raw) == 0;
}

void Terminal::leave()
{
    if (lineShown)
        put(kClearLine);
    restore();
    rawNow = false;
}

int Terminal::columns() const noexcept
{
    winsize size = {};
    return ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col
                                                                             : kUsualColumns;
}

std::string Terminal::read()
{
    std::array<char, 256> typed; // NOLINT(*-member-init): read into
    const ssize_t count = ::read(STDIN_FILENO, typed.data(), typed.size());
    if (count > 0)
        return {typed.data(), static_cast<std::size_t>(count)};
    if (count == 0 || errno != EINTR)
        rawNow = keysWanted = false;
    return {};
}

void Terminal::drawLine(std::string_view text)
{
    if (lineShown)
        put(std::string(kClearLine).append(text));
}

void Terminal::setTitle(std::string_view text)
{
    if (!lineShown)
        return;
    if (!titleChanged)
        put(kKeepTitle);
    titleChanged = 1;
    put("\033]2;" + printable(text) + "\a");
}

void Terminal::say(std::string_view text)
{
    put((lineShown ? std::string(kClearLine) : std::string()) + printable(text) + "\n");
}

} // namespace zephra::standalone
