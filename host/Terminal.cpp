#include "host/Terminal.h"

#if defined(_WIN32)
#include <io.h>
#include <windows.h>
#else
#include <csignal>
#include <sys/ioctl.h>
#include <unistd.h>
#endif

namespace Rvl {

namespace {

constexpr std::size_t usualWidth = 80;

} // namespace

#if defined(_WIN32)

bool setUpTerminal()
{
    const HANDLE output = GetStdHandle(STD_OUTPUT_HANDLE);
    DWORD mode = 0;
    return _isatty(_fileno(stdout)) && GetConsoleMode(output, &mode) &&
           SetConsoleMode(output, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING) && SetConsoleOutputCP(CP_UTF8);
}

std::size_t terminalWidth()
{
    CONSOLE_SCREEN_BUFFER_INFO info{};
    if (!GetConsoleScreenBufferInfo(GetStdHandle(STD_OUTPUT_HANDLE), &info)) {
        return usualWidth;
    }
    return static_cast<std::size_t>(info.srWindow.Right - info.srWindow.Left + 1);
}

void surviveBrokenPipes() {}

#else

bool setUpTerminal()
{
    return isatty(STDOUT_FILENO) == 1;
}

std::size_t terminalWidth()
{
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) {
        return usualWidth;
    }
    return size.ws_col;
}

void surviveBrokenPipes()
{
    std::signal(SIGPIPE, SIG_IGN);
}

#endif

} // namespace Rvl
