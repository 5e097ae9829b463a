#pragma once

#include "driver/local/controller/controlloopoutput/AbstractTwoQuadrantLoopOut.h"

namespace Rvl {

class CDigitalOutChannel;

/// A two-quadrant output whose magnitude goes to the duty cycle of a digital output channel in PWM mode
/// (dutyCycleFromControlValue()). The channel is not owned.
/// A configuration cannot name the PWM channel; a program gives it to the constructor. Without one the output
/// sets the direction and writes no magnitude, and says so when it is initialised.
class RIVLINK_LOCAL_EXPORT CPWMTwoQuadrantLoopOut : public CAbstractTwoQuadrantLoopOut
{
public:
    /// Reads the keys of the base and no other. Throws as the base does.
    explicit CPWMTwoQuadrantLoopOut(const boost::property_tree::ptree& tree);
    /// The same, with the channel that takes the magnitude; null: none.
    CPWMTwoQuadrantLoopOut(const boost::property_tree::ptree& tree, CDigitalOutChannel* channel);

    /// Takes the channel into PWM mode. Without a channel the first call writes one warning on the logger
    /// "LocalLogger".
    void init() override;
    void writeOuputChannel(double magnitude) override;

private:
    CDigitalOutChannel* const channel_;
    bool warned_ = false;
};

} // namespace Rvl
