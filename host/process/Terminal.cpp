#include "host/process/Terminal.h"

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

struct CConsole::Private
{
    HANDLE output = GetStdHandle(STD_OUTPUT_HANDLE);
    UINT codePage = GetConsoleOutputCP(); ///< 0 without a console
    DWORD mode = 0;
    bool isOutput = GetConsoleMode(output, &mode) != 0; ///< and not redirected
};

CConsole::CConsole() : private_(std::make_unique<Private>())
{
    if (private_->codePage != 0) {
        SetConsoleOutputCP(CP_UTF8);
    }
}

CConsole::~CConsole()
{
    if (private_->isOutput) {
        SetConsoleMode(private_->output, private_->mode);
    }
    if (private_->codePage != 0) {
        SetConsoleOutputCP(private_->codePage);
    }
}

void suppressErrorDialogs()
{
    SetErrorMode(GetErrorMode() | SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX | SEM_NOOPENFILEERRORBOX);
}

bool setUpTerminal()
{
    const HANDLE output = GetStdHandle(STD_OUTPUT_HANDLE);
    DWORD mode = 0;
    return _isatty(_fileno(stdout)) && GetConsoleMode(output, &mode) &&
           SetConsoleMode(output, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING);
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

void ignoreWriteSignals() {}

#else

struct CConsole::Private
{};

CConsole::CConsole() = default;

CConsole::~CConsole() = default;

void suppressErrorDialogs() {}

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

void ignoreWriteSignals()
{
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN); // a file that may not grow any further
}

#endif

} // namespace Rvl
