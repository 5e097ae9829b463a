#include "host/process/Terminal.h"

#include <csignal>
#include <sys/ioctl.h>
#include <unistd.h>

namespace Rvl {

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
        return defaultTerminalSize;
    }
    return {size.ws_col, size.ws_row};
}

void ignoreWriteSignals()
{
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN); // file size limit exceeded
}

} // namespace Rvl
