#include "host/Terminal.h"

#if defined(_WIN32)
#include <cstdio>
#include <io.h>
#include <windows.h>
#else
#include <csignal>
#include <sys/ioctl.h>
#include <unistd.h>
#endif

namespace Rvl {

namespace {

constexpr STerminalSize usualSize{80, 24};

} // namespace

#if defined(_WIN32)

bool setUpTerminal()
{
    const HANDLE output = GetStdHandle(STD_OUTPUT_HANDLE);
    DWORD mode = 0;
    return _isatty(_fileno(stdout)) && GetConsoleMode(output, &mode) &&
           SetConsoleMode(output, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING) && SetConsoleOutputCP(CP_UTF8);
}

STerminalSize terminalSize()
{
    CONSOLE_SCREEN_BUFFER_INFO info{};
    if (!GetConsoleScreenBufferInfo(GetStdHandle(STD_OUTPUT_HANDLE), &info)) {
        return usualSize;
    }
    return {static_cast<std::size_t>(info.srWindow.Right - info.srWindow.Left + 1),
            static_cast<std::size_t>(info.srWindow.Bottom - info.srWindow.Top + 1)};
}

void surviveFailedWrites() {}

#else

bool setUpTerminal()
{
    return isatty(STDOUT_FILENO) == 1;
}

STerminalSize terminalSize()
{
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0) {
        return usualSize;
    }
    return {size.ws_col, size.ws_row};
}

void surviveFailedWrites()
{
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN); // a file that may not grow any further
}

#endif

} // namespace Rvl
