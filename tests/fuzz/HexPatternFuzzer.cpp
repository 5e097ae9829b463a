// The text of a digital pattern: any text gives a number, namely the one that stands at its beginning, and
// what the host's check lets pass is read in full.
#include "driver/local/controller/controlloopoutput/AbstractTwoQuadrantLoopOut.h"
#include "host/configuration/KeyCheck.h"
#include "tests/fuzz/Fuzzing.h"

#include <charconv>
#include <cstdint>
#include <limits>
#include <string>

using namespace Rvl;
using namespace Rvl::Test;

namespace {

class CPatternReader : public CAbstractTwoQuadrantLoopOut
{
public:
    using CAbstractTwoQuadrantLoopOut::intFromHexString;
};

int digitOf(char c)
{
    return c >= '0' && c <= '9'   ? c - '0'
           : c >= 'a' && c <= 'f' ? c - 'a' + 10
           : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                  : -1;
}

/// Blanks, a sign, "0x", digits: what does not fit gives the greatest number, no digits give 0.
std::uint32_t model(const std::string& text)
{
    std::size_t next = text.find_first_not_of(" \t\n\v\f\r");
    if (next == std::string::npos) {
        return 0;
    }
    const bool negative = text[next] == '-';
    if (negative || text[next] == '+') {
        ++next;
    }
    const auto at = [&text](std::size_t index) { return index < text.size() ? text[index] : '\0'; };
    if (at(next) == '0' && (at(next + 1) == 'x' || at(next + 1) == 'X')) {
        next += 2;
    }
    std::uint64_t number = 0;
    constexpr std::uint64_t greatest = std::numeric_limits<std::uint32_t>::max();
    for (; digitOf(at(next)) >= 0; ++next) {
        number = number * 16 + static_cast<std::uint64_t>(digitOf(at(next)));
        if (number > greatest) {
            return static_cast<std::uint32_t>(greatest);
        }
    }
    return static_cast<std::uint32_t>(negative ? 0 - number : number);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    const std::uint32_t number = CPatternReader::intFromHexString(text);
    FUZZ_REQUIRE(number == model(text),
                 std::to_string(number) + " instead of " + std::to_string(model(text)));

    SKeyDescription key;
    key.type = SKeyDescription::Hexadecimal;
    if (!checkValue(key, text)) {
        const std::size_t begin = text.find_first_not_of(" \t\r\n");
        const bool prefixed = text.find_first_of("xX") != std::string::npos;
        std::uint32_t exact = 0;
        const char* const first = text.data() + begin + (prefixed ? 2 : 0);
        const auto [end, error] = std::from_chars(first, text.data() + text.size(), exact, 16);
        FUZZ_REQUIRE(error == std::errc() && end != first, "accepted, but no number");
        FUZZ_REQUIRE(exact == number, "read as " + std::to_string(number));
    }
    return 0;
}
