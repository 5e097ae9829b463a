#include "tests/support/ProgramRun.h"

#include "host/base/SystemText.h"

#include <boost/filesystem.hpp>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <utility>

#if defined(_WIN32)
#include <algorithm>
#include <cstdint>
#include <windows.h>
#else
#include <boost/process.hpp>

#include <csignal>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace Rvl::Test {

#if defined(_WIN32)

namespace {

/// A handle of the system's, closed with the object.
class CHandle
{
public:
    explicit CHandle(HANDLE handle = nullptr) : handle_(handle)
    {
        if (handle == INVALID_HANDLE_VALUE) {
            throw std::runtime_error("Windows error " + std::to_string(GetLastError()));
        }
    }
    ~CHandle() { close(); }
    CHandle(const CHandle&) = delete;
    CHandle& operator=(const CHandle&) = delete;

    HANDLE get() const { return handle_; }
    void close()
    {
        if (handle_) {
            CloseHandle(handle_);
        }
        handle_ = nullptr;
    }

private:
    HANDLE handle_;
};

HANDLE openForChild(const std::string& file, DWORD access, DWORD disposition)
{
    SECURITY_ATTRIBUTES inherited{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    return CreateFileW(pathOf(file).c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                       &inherited, disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
}

/// The argument as the C runtime's start-up code takes it out of a command line again.
std::string quoted(const std::string& argument)
{
    std::string result = "\"";
    std::size_t backslashes = 0;
    for (const char character : argument) {
        if (character == '"') {
            result.append(backslashes + 1, '\\'); // each before a quotation mark counts only if doubled
        }
        backslashes = character == '\\' ? backslashes + 1 : 0;
        result += character;
    }
    return result.append(backslashes, '\\') + "\"";
}

std::wstring wide(const std::string& text)
{
    return pathOf(text).native();
}

/// This process's environment with `added`, as CreateProcess takes it.
std::wstring environmentBlock(const std::map<std::string, std::string>& added)
{
    std::wstring block;
    for (const auto& [name, value] : added) {
        block += wide(name + "=" + value) + L'\0';
    }
    wchar_t* const present = GetEnvironmentStringsW();
    for (const wchar_t* entry = present; *entry != L'\0'; entry += std::wstring(entry).size() + 1) {
        const std::wstring variable(entry);
        // the names of hidden variables begin with the sign that ends the others
        if (!added.contains(textOf(variable.substr(0, variable.find(L'=', 1))))) {
            block += variable + L'\0';
        }
    }
    FreeEnvironmentStringsW(present);
    return block + L'\0';
}

HANDLE startProcess(const std::string& program, const std::vector<std::string>& arguments,
                    const std::string& folder, const std::map<std::string, std::string>& environment,
                    HANDLE out, HANDLE err)
{
    std::string commandLine = quoted(program);
    for (const std::string& argument : arguments) {
        commandLine += ' ';
        commandLine += quoted(argument);
    }
    std::wstring wideLine = wide(commandLine);
    std::wstring variables = environmentBlock(environment);
    const CHandle in(openForChild("NUL", GENERIC_READ, OPEN_EXISTING));
    STARTUPINFOW start{};
    start.cb = sizeof(start);
    start.dwFlags = STARTF_USESTDHANDLES;
    start.hStdInput = in.get();
    start.hStdOutput = out;
    start.hStdError = err;
    PROCESS_INFORMATION process{};
    // a busy Wine loses a process that has hardly begun once in some thousand times, and reports it as
    constexpr int tries = 5;
    for (int failed = 0; !CreateProcessW(
             wide(program).c_str(), wideLine.data(), nullptr, nullptr, TRUE, CREATE_UNICODE_ENVIRONMENT,
             variables.data(), folder.empty() ? nullptr : wide(folder).c_str(), &start, &process);) {
        const DWORD error = GetLastError();
        if (error != ERROR_INTERNAL_ERROR || ++failed == tries) {
            throw std::runtime_error(program + " cannot be started: Windows error " + std::to_string(error));
        }
    }
    CloseHandle(process.hThread);
    return process.hProcess;
}

int exitCodeOf(HANDLE process)
{
    WaitForSingleObject(process, INFINITE);
    DWORD code = 0;
    GetExitCodeProcess(process, &code);
    return static_cast<int>(code);
}

} // namespace

struct CProgramRun::Private
{
    CTemporaryFolder output;
    CHandle out{openForChild(output.file("out"), GENERIC_WRITE, CREATE_ALWAYS)};
    CHandle err{openForChild(output.file("err"), GENERIC_WRITE, CREATE_ALWAYS)};
    CHandle process;
    /// The thread in the process that received the closing of the console.
    std::unique_ptr<CHandle> closing;

    Private(const std::string& program, const std::vector<std::string>& arguments, const std::string& folder,
            const std::map<std::string, std::string>& environment)
        : process(startProcess(program, arguments, folder, environment, out.get(), err.get()))
    {
        out.close();
        err.close();
    }
};

CProgramRun::CProgramRun(const std::string& program, const std::vector<std::string>& arguments,
                         const std::string& folder, const std::map<std::string, std::string>& environment)
    : private_(new Private(program, arguments, folder, environment))
{}

CProgramRun::~CProgramRun()
{
    if (isRunning()) {
        end(eEnd::Kill);
        WaitForSingleObject(private_->process.get(), INFINITE);
    }
}

void CProgramRun::end(eEnd how)
{
    const HANDLE process = private_->process.get();
    if (how == eEnd::Kill) {
        TerminateProcess(process, killedExitCode);
        return;
    }
    const std::uintptr_t event = how == eEnd::Interrupt   ? CTRL_C_EVENT
                                 : how == eEnd::Terminate ? CTRL_BREAK_EVENT
                                                          : CTRL_CLOSE_EVENT;
    // what the system itself does for a console's user: a thread in the process, at the same address as here
    const auto routine = reinterpret_cast<LPTHREAD_START_ROUTINE>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleA("kernelbase.dll"), "CtrlRoutine")));
    if (!routine) {
        throw std::runtime_error("no CtrlRoutine");
    }
    auto thread = std::make_unique<CHandle>(
        CreateRemoteThread(process, nullptr, 0, routine, reinterpret_cast<void*>(event), 0, nullptr));
    // Wine denies the thread's handle if the process has ended by then: it took the event
    if (!thread->get() && GetLastError() != ERROR_ACCESS_DENIED) {
        throw std::runtime_error("the process takes no event: Windows error " +
                                 std::to_string(GetLastError()));
    }
    if (how == eEnd::HangUp && thread->get()) {
        private_->closing = std::move(thread);
    }
}

bool CProgramRun::isRunning()
{
    return WaitForSingleObject(private_->process.get(), 0) == WAIT_TIMEOUT;
}

int CProgramRun::process() const
{
    return static_cast<int>(GetProcessId(private_->process.get()));
}

SProgramResult CProgramRun::wait()
{
    const int code = exitCodeOf(private_->process.get());
    // a thread that ends with its process has the same exit code, one that returned has one of its own
    if (DWORD own = 0; private_->closing && (!GetExitCodeThread(private_->closing->get(), &own) ||
                                             static_cast<int>(own) != code)) {
        throw std::runtime_error(
            "the process let go of the closing of its console before its end: exit code " +
            std::to_string(code) + ", that of the thread " + std::to_string(own));
    }
    return {code, readFile(private_->output.file("out")), readFile(private_->output.file("err"))};
}

SProgramResult runProgramWithLeavingReader(const std::string& program,
                                           const std::vector<std::string>& arguments,
                                           const std::map<std::string, std::string>& environment)
{
    const CTemporaryFolder output;
    HANDLE readEnd = nullptr;
    HANDLE writeEnd = nullptr;
    SECURITY_ATTRIBUTES inherited{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    if (!CreatePipe(&readEnd, &writeEnd, &inherited, 0)) {
        throw std::runtime_error("no pipe");
    }
    SetHandleInformation(readEnd, HANDLE_FLAG_INHERIT, 0);
    CHandle reader(readEnd);
    CHandle writer(writeEnd);
    CHandle err(openForChild(output.file("err"), GENERIC_WRITE, CREATE_ALWAYS));
    const CHandle process(startProcess(program, arguments, {}, environment, writer.get(), err.get()));
    writer.close();
    err.close();

    std::string line;
    char character = 0;
    DWORD count = 0;
    while (ReadFile(reader.get(), &character, 1, &count, nullptr) && count == 1 && character != '\n') {
        line += character;
    }
    reader.close();
    const int code = exitCodeOf(process.get());
    line.erase(std::remove(line.begin(), line.end(), '\r'), line.end());
    return {code, line, readFile(output.file("err"))};
}

SProgramResult runProgramWithIdleReader(const std::string& program, const std::vector<std::string>& arguments,
                                        const std::map<std::string, std::string>& environment, double limit_s)
{
    HANDLE readEnd = nullptr;
    HANDLE writeEnd = nullptr;
    SECURITY_ATTRIBUTES inherited{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    if (!CreatePipe(&readEnd, &writeEnd, &inherited, 4096)) {
        throw std::runtime_error("no pipe");
    }
    SetHandleInformation(readEnd, HANDLE_FLAG_INHERIT, 0);
    const CHandle reader(readEnd);
    const CHandle writer(writeEnd);
    DWORD mode = PIPE_NOWAIT;
    SetNamedPipeHandleState(writer.get(), &mode, nullptr, nullptr);
    const std::string filling(512, '.');
    for (DWORD size = 512, written = 1; size > 0; size = written > 0 ? size : size / 2) {
        written = 0;
        WriteFile(writer.get(), filling.data(), size, &written, nullptr);
    }
    mode = PIPE_WAIT;
    SetNamedPipeHandleState(writer.get(), &mode, nullptr, nullptr);
    const CHandle process(startProcess(program, arguments, {}, environment, writer.get(), writer.get()));
    if (WaitForSingleObject(process.get(), static_cast<DWORD>(limit_s * 1000)) == WAIT_TIMEOUT) {
        TerminateProcess(process.get(), killedExitCode);
        throw std::runtime_error("the program waits for its reader");
    }
    return {exitCodeOf(process.get()), {}, {}};
}

SProgramResult runProgramWithoutOutput(const std::string& program, const std::vector<std::string>& arguments)
{
    const CTemporaryFolder output;
    // what was opened for reading only cannot be written to
    CHandle out(openForChild(output.write("out", ""), GENERIC_READ, OPEN_EXISTING));
    CHandle err(openForChild(output.file("err"), GENERIC_WRITE, CREATE_ALWAYS));
    const CHandle process(startProcess(program, arguments, {}, {}, out.get(), err.get()));
    out.close();
    err.close();
    const int code = exitCodeOf(process.get());
    return {code, {}, readFile(output.file("err"))};
}

#else

namespace bp = boost::process;

namespace {

bp::environment withAdded(const std::map<std::string, std::string>& added)
{
    bp::environment variables = boost::this_process::environment();
    for (const auto& [name, value] : added) {
        variables.set(name, value); // operator[] of Boost 1.74 reads beyond the end of shorter entries
    }
    return variables;
}

int exitCodeOf(bp::child& child)
{
    child.wait();
    const int native = child.native_exit_code();
    return WIFSIGNALED(native) ? 128 + WTERMSIG(native) : child.exit_code();
}

} // namespace

struct CProgramRun::Private
{
    CTemporaryFolder output;
    bp::child child;
};

CProgramRun::CProgramRun(const std::string& program, const std::vector<std::string>& arguments,
                         const std::string& folder, const std::map<std::string, std::string>& environment)
    : private_(new Private)
{
    private_->child =
        bp::child(bp::exe = program, bp::args = arguments, withAdded(environment),
                  bp::start_dir = folder.empty() ? std::filesystem::current_path().string() : folder,
                  bp::std_in<bp::null, bp::std_out> private_->output.file("out"),
                  bp::std_err > private_->output.file("err"));
}

CProgramRun::~CProgramRun()
{
    std::error_code ignored;
    if (private_->child.running(ignored)) {
        private_->child.terminate(ignored);
    }
}

void CProgramRun::end(eEnd how)
{
    const int signal = how == eEnd::Interrupt   ? SIGINT
                       : how == eEnd::Terminate ? SIGTERM
                       : how == eEnd::HangUp    ? SIGHUP
                                                : SIGKILL;
    ::kill(private_->child.id(), signal);
}

bool CProgramRun::isRunning()
{
    std::error_code ignored;
    return private_->child.running(ignored);
}

int CProgramRun::process() const
{
    return private_->child.id();
}

SProgramResult CProgramRun::wait()
{
    const int code = exitCodeOf(private_->child);
    return {code, readFile(private_->output.file("out")), readFile(private_->output.file("err"))};
}

SProgramResult runProgramWithLeavingReader(const std::string& program,
                                           const std::vector<std::string>& arguments,
                                           const std::map<std::string, std::string>& environment)
{
    const CTemporaryFolder output;
    bp::ipstream reader;
    bp::child child(bp::exe = program, bp::args = arguments, withAdded(environment),
                    bp::std_in<bp::null, bp::std_out> reader, bp::std_err > output.file("err"));
    std::string line;
    std::getline(reader, line);
    reader.pipe().close();
    const int code = exitCodeOf(child);
    return {code, line, readFile(output.file("err"))};
}

SProgramResult runProgramWithIdleReader(const std::string& program, const std::vector<std::string>& arguments,
                                        const std::map<std::string, std::string>& environment, double limit_s)
{
    const CTemporaryFolder output;
    // opening a named pipe for both ends does not wait for a reader
    const std::string file = output.file("full");
    if (mkfifo(file.c_str(), S_IRUSR | S_IWUSR) != 0) {
        throw std::runtime_error("no pipe");
    }
    const int pipe = open(file.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    while (write(pipe, "................", 16) > 0 || write(pipe, ".", 1) > 0) {
    }
    bp::child child(bp::exe = program, bp::args = arguments, withAdded(environment),
                    bp::std_in<bp::null, (bp::std_out & bp::std_err)> file);
    const bool ended = eventually([&] { return !child.running(); }, limit_s);
    if (!ended) {
        child.terminate();
    }
    close(pipe);
    if (!ended) {
        throw std::runtime_error("the program waits for its reader");
    }
    return {exitCodeOf(child), {}, {}};
}

SProgramResult runProgramWithoutOutput(const std::string& program, const std::vector<std::string>& arguments)
{
    const CTemporaryFolder output;
    bp::child child(bp::exe = program, bp::args = arguments, bp::std_in<bp::null, bp::std_out> "/dev/full",
                    bp::std_err > output.file("err"));
    const int code = exitCodeOf(child);
    return {code, {}, readFile(output.file("err"))};
}

#endif

std::string CProgramRun::outSoFar() const
{
    return readFile(private_->output.file("out"));
}

std::string CProgramRun::errSoFar() const
{
    return readFile(private_->output.file("err"));
}

SProgramResult runProgram(const std::string& program, const std::vector<std::string>& arguments,
                          const std::string& folder, const std::map<std::string, std::string>& environment)
{
    return CProgramRun(program, arguments, folder, environment).wait();
}

CTemporaryFolder::CTemporaryFolder()
    : path_(textOf((boost::filesystem::temp_directory_path() / boost::filesystem::unique_path()).native()))
{
    std::filesystem::create_directories(pathOf(path_));
}

CTemporaryFolder::~CTemporaryFolder()
{
    std::error_code ignored;
    std::filesystem::remove_all(pathOf(path_), ignored);
}

std::string CTemporaryFolder::file(const std::string& name) const
{
    return textOf(pathOf(path_) / pathOf(name));
}

std::string CTemporaryFolder::write(const std::string& name, const std::string& content) const
{
    std::ofstream(pathOf(file(name)), std::ios::binary) << content;
    return file(name);
}

std::string readFile(const std::string& path)
{
    std::ifstream stream(pathOf(path));
    return std::string(std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>());
}

std::string replaced(std::string text, const std::string& part, const std::string& replacement)
{
    const std::size_t at = text.find(part);
    if (at == std::string::npos) {
        throw std::invalid_argument("the text does not read " + part);
    }
    return text.replace(at, part.size(), replacement);
}

std::vector<std::string> linesOf(const std::string& text)
{
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

} // namespace Rvl::Test
