#pragma once

#include "driver/local/controller/controlloopoutput/AbstractTwoQuadrantLoopOut.h"

namespace Rvl {

class CAnalogOutChannel;

/// A two-quadrant output whose magnitude goes, unchanged, to an analog output channel (not owned).
class RIVLINK_LOCAL_EXPORT CAnalogTwoQuadrantLoopOut : public CAbstractTwoQuadrantLoopOut
{
public:
    /// Reads the keys of the base and then "Channel", the name of an analog output (required). Throws as the
    /// base does.
    explicit CAnalogTwoQuadrantLoopOut(const boost::property_tree::ptree& tree);

    void writeOuputChannel(double magnitude) override;

private:
    CAnalogOutChannel* const channel_;
};

} // namespace Rvl
