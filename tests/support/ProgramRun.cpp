#include "tests/support/ProgramRun.h"

#include <boost/filesystem.hpp>
#include <boost/process.hpp>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

#if !defined(_WIN32)
#include <csignal>
#include <sys/wait.h>
#endif

namespace Rvl::Test {

struct CProgramRun::Private
{
    CTemporaryFolder output;
    boost::process::child child;
};

CProgramRun::CProgramRun(const std::string& program, const std::vector<std::string>& arguments,
                         const std::string& folder, const std::map<std::string, std::string>& environment)
    : private_(new Private)
{
    namespace bp = boost::process;
    bp::environment variables = boost::this_process::environment();
    for (const auto& [name, value] : environment) {
        variables.set(name, value); // operator[] of Boost 1.74 reads beyond the end of shorter entries
    }
    private_->child =
        bp::child(bp::exe = program, bp::args = arguments, variables,
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
    delete private_;
}

void CProgramRun::sendSignal(int signal)
{
#if defined(_WIN32)
    static_cast<void>(signal);
    private_->child.terminate();
#else
    ::kill(private_->child.id(), signal);
#endif
}

bool CProgramRun::isRunning()
{
    std::error_code ignored;
    return private_->child.running(ignored);
}

SProgramResult CProgramRun::wait()
{
    private_->child.wait();
    int code = private_->child.exit_code();
#if !defined(_WIN32)
    if (WIFSIGNALED(private_->child.native_exit_code())) {
        code = 128 + WTERMSIG(private_->child.native_exit_code());
    }
#endif
    return {code, readFile(private_->output.file("out")), readFile(private_->output.file("err"))};
}

std::string CProgramRun::outSoFar() const
{
    return readFile(private_->output.file("out"));
}

SProgramResult runProgram(const std::string& program, const std::vector<std::string>& arguments,
                          const std::string& folder, const std::map<std::string, std::string>& environment)
{
    return CProgramRun(program, arguments, folder, environment).wait();
}

CTemporaryFolder::CTemporaryFolder()
    : path_((boost::filesystem::temp_directory_path() / boost::filesystem::unique_path()).string())
{
    std::filesystem::create_directories(path_);
}

CTemporaryFolder::~CTemporaryFolder()
{
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::string CTemporaryFolder::file(const std::string& name) const
{
    return (std::filesystem::path(path_) / name).string();
}

std::string CTemporaryFolder::write(const std::string& name, const std::string& content) const
{
    std::ofstream(file(name), std::ios::binary) << content;
    return file(name);
}

std::string readFile(const std::string& path)
{
    std::ifstream stream(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>());
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
