// The host's command line, one argument per line of the input: whatever stands there, the program ends with
// one of its exit codes and says why if that is not 0. The arguments that are durations and numbers are read
// one by one as well.
#include "common/Numbers.h"
#include "host/base/Duration.h"
#include "host/base/ExitCode.h"
#include "host/base/NumberText.h"
#include "host/commands/Application.h"
#include "tests/fuzz/Fuzzing.h"

#include <boost/filesystem.hpp>

#include <chrono>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

using namespace Rvl;
using namespace Rvl::Test;

namespace {

/// A folder for the program to stand in, with configurations that are wrong: nothing is to run here.
class CFolder
{
public:
    CFolder() : path_((boost::filesystem::temp_directory_path() / boost::filesystem::unique_path()).string())
    {
        std::filesystem::create_directories(path_);
        std::ofstream(path_ / "faulty.xml") << "<Configuration><Channels/><Unknown/></Configuration>";
        std::ofstream(path_ / "malformed.xml") << "<Configuration>";
        std::filesystem::current_path(path_);
    }
    ~CFolder()
    {
        std::error_code ignored;
        std::filesystem::current_path(std::filesystem::temp_directory_path(), ignored);
        std::filesystem::remove_all(path_, ignored);
    }
    CFolder(const CFolder&) = delete;
    CFolder& operator=(const CFolder&) = delete;

private:
    std::filesystem::path path_;
};

void readAsValue(const std::string& text)
{
    if (const auto duration = parseDuration(text)) {
        FUZZ_REQUIRE(duration->count() >= 0 && *duration <= std::chrono::hours(24 * 365 * 100), text);
    }
    if (const auto real = parseReal(text)) {
        FUZZ_REQUIRE(std::isfinite(*real), text);
        FUZZ_REQUIRE(parseReal(exactText(*real)) == real, exactText(*real));
    }
    if (const auto integer = parseInteger(text)) {
        FUZZ_REQUIRE(parseInteger(std::to_string(*integer)) == integer, text);
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const CFolder folder;
    std::vector<std::string> arguments{"rivlink-host"};
    std::istringstream lines(std::string(reinterpret_cast<const char*>(data), size));
    for (std::string line; std::getline(lines, line) && arguments.size() < 64;) {
        if (line.find('/') != std::string::npos) {
            return 0; // nothing outside of the folder is to be touched
        }
        line = line.substr(0, line.find('\0')); // as the system hands arguments over
        readAsValue(line);
        arguments.push_back(line);
    }
    std::vector<const char*> argv;
    for (const std::string& argument : arguments) {
        argv.push_back(argument.c_str());
    }
    std::ostringstream out;
    std::ostringstream err;
    const int code = runApplication(static_cast<int>(argv.size()), argv.data(),
                                    std::chrono::steady_clock::now(), out, err);
    FUZZ_REQUIRE(code == ExitDone || code == ExitFailure || code == ExitUsage || code == ExitBadData ||
                     code == ExitBadConfiguration,
                 std::to_string(code));
    FUZZ_REQUIRE(code == ExitDone || !err.str().empty() || !out.str().empty(), std::to_string(code));
    FUZZ_REQUIRE(code != ExitUsage || !err.str().empty(), out.str());
    return 0;
}
