#include "tests/unit/host/HostProgram.h"

#include <gtest/gtest.h>

#if defined(_WIN32)
#include <windows.h>
#else
#include <boost/filesystem.hpp>
#include <boost/process.hpp>

#include <cstdlib>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>
#endif

namespace Rvl::Test {

#if defined(_WIN32)

namespace {

constexpr SHORT screenWidth = 60;
constexpr SHORT screenHeight = 24;

/// Starts a program with the standard output given, or, if there is none, in the pseudo console given.
PROCESS_INFORMATION startIn(void* pseudoConsole, HANDLE output, const std::vector<std::string>& command)
{
    std::string line;
    for (const std::string& word : command) {
        line += (line.empty() ? "\"" : " \"") + word + "\"";
    }
    STARTUPINFOEXA start{};
    start.StartupInfo.cb = sizeof(start);
    std::vector<char> attributes;
    if (output) {
        start.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
        start.StartupInfo.hStdOutput = output;
    } else {
        constexpr DWORD_PTR pseudoConsoleAttribute = 0x00020016;
        SIZE_T size = 0;
        InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
        attributes.resize(size);
        start.lpAttributeList = reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(attributes.data());
        InitializeProcThreadAttributeList(start.lpAttributeList, 1, 0, &size);
        UpdateProcThreadAttribute(start.lpAttributeList, 0, pseudoConsoleAttribute, pseudoConsole,
                                  sizeof(pseudoConsole), nullptr, nullptr);
    }
    PROCESS_INFORMATION process{};
    EXPECT_TRUE(CreateProcessA(nullptr, line.data(), nullptr, nullptr, output != nullptr,
                               EXTENDED_STARTUPINFO_PRESENT, nullptr, nullptr, &start.StartupInfo, &process))
        << GetLastError();
    return process;
}

std::string screenText(HANDLE console)
{
    std::string text;
    for (SHORT row = 0; row < screenHeight; ++row) {
        std::string line(screenWidth, ' ');
        DWORD count = 0;
        ReadConsoleOutputCharacterA(console, line.data(), screenWidth, COORD{0, row}, &count);
        text += line + "\n";
    }
    return text;
}

std::size_t occurrences(const std::string& text, const std::string& part)
{
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++count;
    }
    return count;
}

} // namespace

TEST(TerminalTest, TableIsRedrawnInItsPlaceOnATerminal)
{
    using Create = HRESULT WINAPI(COORD, HANDLE, HANDLE, DWORD, void**);
    using Close = void WINAPI(void*);
    const HMODULE system = GetModuleHandleA("kernel32.dll");
    const auto create =
        reinterpret_cast<Create*>(reinterpret_cast<void*>(GetProcAddress(system, "CreatePseudoConsole")));
    const auto close =
        reinterpret_cast<Close*>(reinterpret_cast<void*>(GetProcAddress(system, "ClosePseudoConsole")));
    ASSERT_TRUE(create && close);
    const CTemporaryFolder folder;
    const std::string file = folder.write("c.xml", SFakeConfiguration().text());

    // a console of the size wanted belongs to a program in it, and this one joins that program
    HANDLE inputRead = nullptr;
    HANDLE inputWrite = nullptr;
    HANDLE outputRead = nullptr;
    HANDLE outputWrite = nullptr;
    ASSERT_TRUE(CreatePipe(&inputRead, &inputWrite, nullptr, 0));
    ASSERT_TRUE(CreatePipe(&outputRead, &outputWrite, nullptr, 1 << 20));
    void* pseudoConsole = nullptr;
    ASSERT_EQ(create(COORD{screenWidth, screenHeight}, inputRead, outputWrite, 0, &pseudoConsole), S_OK);
    const PROCESS_INFORMATION keeper = startIn(
        pseudoConsole, nullptr,
        {RIVLINK_HOST_PROGRAM, "--plugin-path", RIVLINK_TEST_PLUGIN_DIRECTORY, "run", file, "--quiet"});
    FreeConsole();
    ASSERT_TRUE(eventually([&] { return AttachConsole(keeper.dwProcessId) != 0; }));
    SECURITY_ATTRIBUTES inherited{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    const HANDLE console =
        CreateFileA("CONOUT$", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, &inherited,
                    OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(console, INVALID_HANDLE_VALUE);

    // any other code page than the one that the keeper set
    constexpr UINT formerCodePage = 437;
    ASSERT_TRUE(eventually([&] { return GetConsoleOutputCP() == CP_UTF8; }));
    ASSERT_TRUE(SetConsoleOutputCP(formerCodePage));
    const auto mode = [&] {
        DWORD result = 0;
        EXPECT_TRUE(GetConsoleMode(console, &result));
        return result;
    };
    ASSERT_TRUE(SetConsoleMode(console, mode() & ~static_cast<DWORD>(ENABLE_VIRTUAL_TERMINAL_PROCESSING)));
    const DWORD formerMode = mode();

    const PROCESS_INFORMATION host =
        startIn(nullptr, console,
                {RIVLINK_HOST_PROGRAM, "--plugin-path", RIVLINK_TEST_PLUGIN_DIRECTORY, "run", file, "--for",
                 "2200ms", "--limit-scale", "20"});
    bool takesUtf8 = false;
    bool takesSequences = false;
    EXPECT_TRUE(eventually([&] {
        takesUtf8 = takesUtf8 || GetConsoleOutputCP() == CP_UTF8;
        takesSequences = takesSequences || (mode() & ENABLE_VIRTUAL_TERMINAL_PROCESSING) != 0;
        return takesUtf8 && takesSequences;
    })) << takesUtf8
        << takesSequences;
    EXPECT_EQ(WaitForSingleObject(host.hProcess, 60000), WAIT_OBJECT_0);
    DWORD code = 1;
    GetExitCodeProcess(host.hProcess, &code);
    EXPECT_EQ(code, 0U);
    const std::string shown = screenText(console);
    EXPECT_EQ(mode(), formerMode);
    EXPECT_EQ(GetConsoleOutputCP(), formerCodePage);

    CloseHandle(console);
    FreeConsole();
    AttachConsole(ATTACH_PARENT_PROCESS);
    TerminateProcess(keeper.hProcess, 0);
    close(pseudoConsole);
    for (const HANDLE handle : {keeper.hProcess, keeper.hThread, host.hProcess, host.hThread, inputRead,
                                inputWrite, outputRead, outputWrite}) {
        CloseHandle(handle);
    }

    EXPECT_NE(shown.find("after the start of the program"), std::string::npos) << shown;
    const std::string header = "name    mode  set point  actual value  control value  unit";
    if (shown.find("\x1b[") == std::string::npos) {
        EXPECT_EQ(occurrences(shown, header), 1U) << shown;
    } else {
        // a console that takes the sequences for text, as Wine's does: each drawing stands below the one
        // before, and over what would have gone back to its first row
        EXPECT_GE(occurrences(shown, "\x1b[2Kname "), 2U) << shown;
        EXPECT_EQ(occurrences(shown, "unit  state"), 0U) << "cut at the console's width\n" << shown;
    }
}

#else

TEST(TerminalTest, TableIsRedrawnInItsPlaceOnATerminal)
{
    namespace bp = boost::process;
    const CTemporaryFolder folder;
    const std::string file = folder.write("c.xml", SFakeConfiguration().text());
    const int master = ::posix_openpt(O_RDWR | O_NOCTTY);
    ASSERT_GE(master, 0);
    ASSERT_EQ(::grantpt(master), 0);
    ASSERT_EQ(::unlockpt(master), 0);
    const std::string terminal = ::ptsname(master);
    const int slave = ::open(terminal.c_str(), O_RDWR | O_NOCTTY);
    ASSERT_GE(slave, 0);
    winsize size{};
    size.ws_col = 60;
    size.ws_row = 24;
    ASSERT_EQ(::ioctl(slave, TIOCSWINSZ, &size), 0);

    bp::child child(RIVLINK_HOST_PROGRAM, bp::args = withTestPlugins({"run", file, "--for", "1200ms"}),
                    bp::std_out > terminal);
    std::string shown;
    const std::string end = "after the start of the program";
    char buffer[4096];
    while (shown.find(end) == std::string::npos) {
        const auto count = ::read(master, buffer, sizeof(buffer));
        ASSERT_GT(count, 0);
        shown.append(buffer, static_cast<std::size_t>(count));
    }
    child.wait();
    EXPECT_EQ(child.exit_code(), 0);
    ::close(slave);
    ::close(master);

    EXPECT_NE(shown.find("\x1b[2Kname    mode  set point  actual value  control value  unit  \r\n"),
              std::string::npos)
        << shown;
    EXPECT_NE(shown.find("\x1b[2A\r\x1b[2Kname "), std::string::npos) << shown;
}

#endif

} // namespace Rvl::Test
