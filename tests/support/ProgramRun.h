#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace Rvl::Test {

/// What a program that has ended left behind.
struct SProgramResult
{
    int exitCode = -1;
    std::string out;
    std::string err;
};

/// How a process is requested or made to end: by SIGINT, SIGTERM, SIGHUP and SIGKILL, or by Ctrl-C,
/// Ctrl-Break, the closing of its console and termination.
enum class eEnd
{
    Interrupt,
    Terminate,
    HangUp,
    Kill
};

/// The exit code of a process that was killed.
constexpr int killedExitCode = 128 + 9;

/// A program under test as a process of its own, with its output in files. Ends with the object if it has not
/// ended before.
class CProgramRun
{
public:
    /// Starts the program in `folder` (the current one if empty), with `environment` added to the current
    /// one.
    CProgramRun(const std::string& program, const std::vector<std::string>& arguments,
                const std::string& folder = {}, const std::map<std::string, std::string>& environment = {});
    ~CProgramRun();
    CProgramRun(const CProgramRun&) = delete;
    CProgramRun& operator=(const CProgramRun&) = delete;

    void end(eEnd how);
    bool isRunning();
    /// The system's number of the process.
    int process() const;
    /// Waits for the program's end. A signal that ended it counts as exit code 128 + signal. Throws
    /// std::runtime_error if the program let go of the closing of its console, or of the end of the session,
    /// before its end: Windows would have ended it at that moment, whatever it was doing, which Wine does
    /// not.
    SProgramResult wait();
    /// Standard output so far.
    std::string outSoFar() const;
    /// Standard error so far.
    std::string errSoFar() const;

private:
    struct Private;
    std::unique_ptr<Private> private_;
};

/// Runs a program to its end.
SProgramResult runProgram(const std::string& program, const std::vector<std::string>& arguments,
                          const std::string& folder = {},
                          const std::map<std::string, std::string>& environment = {});

/// Runs a program whose output goes to a reader that leaves after the first line, which is the result's
/// output.
SProgramResult runProgramWithLeavingReader(const std::string& program,
                                           const std::vector<std::string>& arguments,
                                           const std::map<std::string, std::string>& environment = {});

/// Runs a program whose output, standard error included, goes to a reader that stays and does not read: there
/// is no room for a single character. Throws std::runtime_error if it has not ended after `limit_s`.
SProgramResult runProgramWithIdleReader(const std::string& program, const std::vector<std::string>& arguments,
                                        const std::map<std::string, std::string>& environment = {},
                                        double limit_s = 60.0);

/// Runs a program whose standard output takes nothing, as on a full disk.
SProgramResult runProgramWithoutOutput(const std::string& program, const std::vector<std::string>& arguments);

/// A folder for one test's files, deleted with the object.
class CTemporaryFolder
{
public:
    CTemporaryFolder();
    ~CTemporaryFolder();
    CTemporaryFolder(const CTemporaryFolder&) = delete;
    CTemporaryFolder& operator=(const CTemporaryFolder&) = delete;

    /// The path of a file in it.
    std::string file(const std::string& name) const;
    /// Writes a file and returns its path.
    std::string write(const std::string& name, const std::string& content) const;

private:
    std::string path_;
};

/// The content of a text file, its lines ended as the system's programs see them; empty if there is none.
std::string readFile(const std::string& path);
std::vector<std::string> linesOf(const std::string& text);
/// The text with the first place where it reads `part` replaced. Throws std::invalid_argument without such a
/// place.
std::string replaced(std::string text, const std::string& part, const std::string& replacement);

/// Waits until the condition holds and returns true, or false after `limit_s` seconds.
template <class Condition> bool eventually(Condition condition, double limit_s = 60.0);

} // namespace Rvl::Test

#include <chrono>
#include <thread>

namespace Rvl::Test {

template <class Condition> bool eventually(Condition condition, double limit_s)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(limit_s);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

} // namespace Rvl::Test
