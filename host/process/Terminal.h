#pragma once

#include <cstddef>
#include <memory>

namespace Rvl {

/// The console that the program was started in, on Windows: it takes UTF-8 while the object lives, and is
/// left as it was found, with what setUpTerminal() changed. Other systems have nothing to change.
class CConsole
{
public:
    CConsole();
    ~CConsole();
    CConsole(const CConsole&) = delete;
    CConsole& operator=(const CConsole&) = delete;

private:
    struct Private;
    std::unique_ptr<Private> private_;
};

/// Has the system tell the program of what fails, instead of asking the user in a window (Windows, of a
/// library that is broken, say): nobody may be there to answer, and loops would wait.
void suppressErrorDialogs();

/// Prepares standard output for what a live table needs (on systems that must be asked for it), and tells
/// whether it is a terminal at all.
bool setUpTerminal();

/// What a terminal's window holds.
struct STerminalSize
{
    std::size_t width;  ///< characters in a line
    std::size_t height; ///< lines
};

/// What terminalSize() returns where the size is unknown.
constexpr STerminalSize defaultTerminalSize{80, 24};

/// The size of the terminal's window.
STerminalSize terminalSize();

/// Keeps the process alive when whoever reads its output goes away, or a file reaches the size that it may
/// have: writing then fails, as to a full disk, instead of ending the process with its actuators driven.
void ignoreWriteSignals();

} // namespace Rvl
