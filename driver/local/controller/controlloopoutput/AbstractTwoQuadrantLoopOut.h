#pragma once

#include "driver/local/controller/common/LoopElements.h"
#include "driver/local/Export.h"

#include <boost/property_tree/ptree_fwd.hpp>

#include <cstdint>
#include <optional>
#include <string>

namespace Rvl {

class IDigitalOutInterface;

/// Serves a signed control value: its sign chooses a direction by a bit pattern on a digital port, its
/// magnitude goes where the derived class writes it. For each value, in this order:
///  1. pattern = the positive one if value > 0, else the negative one (so for 0 and NaN too);
///  2. if the pattern is not the one sent last, it is sent, masked with the bits that occur in either
///     pattern; the first value always sends it;
///  3. |value| is written as the magnitude.
/// There is no dead band and no pause between a new direction and the new magnitude. A failing port write
/// counts as sent: the same pattern is not tried again with the next value.
/// The port is not owned and must outlive the output's use.
class RIVLINK_LOCAL_EXPORT CAbstractTwoQuadrantLoopOut : public ILoopOut
{
public:
    /// Reads, all required: "DigitalOut.<xmlattr>.Device", the name of a digital port;
    /// "DigitalOut.<xmlattr>.Negative" and "DigitalOut.<xmlattr>.Positive", the patterns in hexadecimal.
    /// Throws the property tree's bad-path error for a missing key and CConfigurationException if no port
    /// bears the name.
    explicit CAbstractTwoQuadrantLoopOut(const boost::property_tree::ptree& tree);

    void writeOutputValue(double value) override;

    /// Writes the magnitude, which is not negative but may be NaN.
    virtual void writeOuputChannel(double magnitude) = 0;

protected:
    /// The number at the start of a hexadecimal text: leading blanks are skipped, "0x" may precede it, and
    /// what follows it is not looked at. 0 if there is no number.
    static unsigned int intFromHexString(const std::string& text);

    /// Steps 1 and 2 of the class comment.
    void writeDigitalOut(double value);

private:
    IDigitalOutInterface* const digitalOut_;
    std::uint32_t directionMask_ = 0;
    std::uint32_t negativePattern_ = 0;
    std::uint32_t positivePattern_ = 0;
    std::optional<std::uint32_t> lastPattern_; ///< empty before the first value
};

} // namespace Rvl
