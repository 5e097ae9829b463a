// A record of any controllers and values: it reads back, by the rules of CSV, as exactly what was written,
// and a file that is there already is kept unless it is to be replaced.
#include "common/Numbers.h"
#include "host/base/HostException.h"
#include "host/record/Recorder.h"
#include "tests/fuzz/Fuzzing.h"
#include "tests/support/LoopModels.h"

#include <boost/filesystem.hpp>

#include <chrono>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <string>
#include <vector>

using namespace Rvl;
using namespace Rvl::Test;

namespace {

std::string contentOf(const std::filesystem::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

/// The fields of each row: RFC 4180, except that lines end with a line feed.
std::vector<std::vector<std::string>> rowsOf(const std::string& text)
{
    std::vector<std::vector<std::string>> rows;
    std::size_t next = 0;
    while (next < text.size()) {
        rows.emplace_back();
        for (bool more = true; more;) {
            std::string field;
            if (text[next] == '"') {
                for (++next;; ++next) {
                    FUZZ_REQUIRE(next < text.size(), "an open quotation mark");
                    if (text[next] == '"' && text.compare(next, 2, "\"\"") == 0) {
                        ++next;
                    } else if (text[next] == '"') {
                        break;
                    }
                    field += text[next];
                }
                ++next;
            } else {
                while (next < text.size() && text[next] != ',' && text[next] != '\n') {
                    FUZZ_REQUIRE(text[next] != '"' && text[next] != '\r', "a field that needs quoting");
                    field += text[next++];
                }
            }
            rows.back().push_back(field);
            FUZZ_REQUIRE(next < text.size() && (text[next] == ',' || text[next] == '\n'), "after a field");
            more = text[next++] == ',';
        }
    }
    return rows;
}

void requireNumber(const std::string& field, double value)
{
    if (std::isfinite(value)) {
        const auto read = parseReal(field);
        FUZZ_REQUIRE(read && sameBits(*read, value), field);
    } else {
        FUZZ_REQUIRE(field == "inf" || field == "-inf" || field == "nan" || field == "-nan", field);
    }
}

/// A field behind the apostrophe that keeps it from being a formula.
std::string shown(const std::string& text)
{
    return !text.empty() && std::string("=+-@").find(text[0]) != std::string::npos ? "'" + text : text;
}

const std::string thereBefore = "time,channel,of an earlier run\n";

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const std::filesystem::path file =
        (boost::filesystem::temp_directory_path() / boost::filesystem::unique_path("%%%%-%%%%.csv")).string();
    CBytes bytes(data, size);
    std::vector<SControllerState> states(1 + bytes.byte() % 4);
    for (SControllerState& state : states) {
        state.name = bytes.text(40);
        state.unit = bytes.text(10);
    }
    const bool there = bytes.byte() % 4 == 0;
    const bool replace = bytes.byte() % 2 == 0;
    if (there) {
        std::ofstream(file, std::ios::binary) << thereBefore;
    }
    std::vector<SControllerState> written;
    try {
        CRecorder recorder(file, replace, states);
        FUZZ_REQUIRE(!there || replace, "replaced a record");
        while (!bytes.atEnd()) {
            // as far as the system clock goes
            const std::chrono::milliseconds moment(bytes.take<std::uint64_t>() % 9223372036854U);
            for (SControllerState& state : states) {
                state.setPoint = bytes.number();
                state.actualValue = bytes.number();
                state.controlValue = bytes.number();
                state.enabled = bytes.byte() % 2 == 0;
                state.manual = bytes.byte() % 2 == 0;
                state.health.text = bytes.text(20);
            }
            FUZZ_REQUIRE(recorder.write(states, std::chrono::system_clock::time_point(moment)), "failed");
            written.insert(written.end(), states.begin(), states.end());
        }
        const auto rows = rowsOf(contentOf(file));
        FUZZ_REQUIRE(rows.size() == written.size() + 1, std::to_string(rows.size()));
        for (std::size_t index = 0; index < rows.size(); ++index) {
            FUZZ_REQUIRE(rows[index].size() == 8, std::to_string(rows[index].size()));
            if (index == 0) {
                continue;
            }
            const SControllerState& state = written[index - 1];
            FUZZ_REQUIRE(rows[index][0].size() == 24 && rows[index][0].back() == 'Z', rows[index][0]);
            FUZZ_REQUIRE(rows[index][1] == shown(state.name), rows[index][1]);
            requireNumber(rows[index][2], state.setPoint);
            requireNumber(rows[index][3], state.actualValue);
            requireNumber(rows[index][4], state.controlValue);
            FUZZ_REQUIRE(rows[index][5] == (state.enabled ? "true" : "false"), rows[index][5]);
            FUZZ_REQUIRE(rows[index][6] == (state.manual ? "true" : "false"), rows[index][6]);
            FUZZ_REQUIRE(rows[index][7] == shown(state.health.text), rows[index][7]);
        }
    } catch (const CHostException& exception) {
        FUZZ_REQUIRE(there && !replace, exception.what());
        FUZZ_REQUIRE(contentOf(file) == thereBefore, "the record that was there is gone");
    }
    std::filesystem::remove(file);
    return 0;
}
