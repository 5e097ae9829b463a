#pragma once

#include <cstddef>
#include <memory>

namespace Rvl {

/// The console in which the program was started, on Windows: set to UTF-8 during the object's lifetime and
/// restored at its end, including the changes of setUpTerminal(). Does nothing on other systems.
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

/// Makes system errors, such as a broken library, fail the call instead of opening a dialog (Windows): a
/// dialog on an unattended machine would block the loops. Does nothing on other systems.
void suppressErrorDialogs();

/// Enables the escape sequences that a live table needs, where the system requires that (Windows). Returns
/// false if standard output is no terminal.
bool setUpTerminal();

/// The size of a terminal's window.
struct STerminalSize
{
    std::size_t width;  ///< characters in a line
    std::size_t height; ///< lines
};

/// What terminalSize() returns where the size is unknown.
constexpr STerminalSize defaultTerminalSize{80, 24};

/// The size of the window of the terminal at standard output.
STerminalSize terminalSize();

/// Ignores SIGPIPE and SIGXFSZ: writing to a closed pipe or beyond a file's size limit then fails like
/// writing to a full disk, instead of ending the process with its actuators driven. Does nothing on Windows.
void ignoreWriteSignals();

} // namespace Rvl
