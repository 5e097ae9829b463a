#include "driver/local/controller/controlloopoutput/AbstractTwoQuadrantLoopOut.h"

#include "platform/rivlink_device/DigitalOutInterface.h"

#include <boost/property_tree/ptree.hpp>

#include <cmath>
#include <locale>
#include <sstream>

namespace Rvl {

CAbstractTwoQuadrantLoopOut::CAbstractTwoQuadrantLoopOut(const boost::property_tree::ptree& tree)
    : digitalOut_(
          IDigitalOutInterface::NameServer.lookupObject(tree.get<std::string>("DigitalOut.<xmlattr>.Device")))
{
    negativePattern_ = intFromHexString(tree.get<std::string>("DigitalOut.<xmlattr>.Negative"));
    positivePattern_ = intFromHexString(tree.get<std::string>("DigitalOut.<xmlattr>.Positive"));
    directionMask_ = negativePattern_ | positivePattern_;
}

void CAbstractTwoQuadrantLoopOut::writeOutputValue(double value)
{
    writeDigitalOut(value);
    writeOuputChannel(std::fabs(value));
}

unsigned int CAbstractTwoQuadrantLoopOut::intFromHexString(const std::string& text)
{
    std::istringstream stream(text);
    stream.imbue(std::locale::classic());
    unsigned int number = 0;
    stream >> std::hex >> number;
    return number;
}

void CAbstractTwoQuadrantLoopOut::writeDigitalOut(double value)
{
    const std::uint32_t pattern = value > 0.0 ? positivePattern_ : negativePattern_;
    if (lastPattern_ == pattern) {
        return;
    }
    lastPattern_ = pattern;
    digitalOut_->writeMasked(directionMask_, pattern);
}

} // namespace Rvl
