#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Rvl {

/// A controller at one moment, as it stands in the file.
struct SCodedSample
{
    std::int64_t time_ms = 0; ///< since 1970
    double setPoint = 0.0;
    double actualValue = 0.0;
    double controlValue = 0.0;
    std::uint32_t state = 0; ///< number of the health's text, times 4, plus 2 if enabled, plus 1 if manual

    bool operator==(const SCodedSample& other) const;
};

/// Samples of one controller in few bytes, without loss. Column by column: of times the change of the
/// difference to the one before, as a number of variable length; of values the bits that differ from the
/// value before, without their leading and trailing zero bytes; what stays the same as one count. So a value
/// that does not change costs nothing, and one that changes in every bit 9 bytes.
std::string encodeSamples(const std::vector<SCodedSample>& samples);

/// The samples of such a text. Throws std::runtime_error if it is not one.
std::vector<SCodedSample> decodeSamples(std::string_view code);

/// The samples of several controllers at one moment, each in 32 bytes behind the controller's number.
class CMomentCode
{
public:
    static constexpr std::size_t sampleLength = 32;

    static void append(std::string& code, std::uint32_t controller, const SCodedSample& sample);
    static std::size_t count(std::string_view code) { return code.size() / sampleLength; }
    static std::uint32_t controllerAt(std::string_view code, std::size_t index);
    static SCodedSample sampleAt(std::string_view code, std::size_t index, std::int64_t time_ms);
};

} // namespace Rvl
