#include "host/process/Terminal.h"

#include <cstdio>
#include <io.h>
#include <windows.h>

namespace Rvl {

struct CConsole::Private
{
    HANDLE output = GetStdHandle(STD_OUTPUT_HANDLE);
    UINT codePage = GetConsoleOutputCP(); ///< 0 without a console
    DWORD mode = 0;
    bool isOutput = GetConsoleMode(output, &mode) != 0; ///< standard output is a console
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
        return defaultTerminalSize;
    }
    return {static_cast<std::size_t>(info.srWindow.Right - info.srWindow.Left + 1),
            static_cast<std::size_t>(info.srWindow.Bottom - info.srWindow.Top + 1)};
}

void ignoreWriteSignals() {}

} // namespace Rvl
