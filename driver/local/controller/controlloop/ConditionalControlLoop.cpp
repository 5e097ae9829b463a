#include "driver/local/controller/controlloop/ConditionalControlLoop.h"

#include "common/LoggedThrow.h"
#include "common/TreeValues.h"

#include <boost/optional.hpp>
#include <boost/property_tree/ptree.hpp>

#include <stdexcept>

namespace Rvl {

CConditionalControlLoop::CConditionalControlLoop(const boost::property_tree::ptree& tree) : outOfRange_(false)
{
    controlType_ = TypeConditional;
    parameters_.setSampleTime(treeValue<int>(tree, "Parameters.<xmlattr>.SampleTime_ms"));
    parameters_.setInitialSetpoint(treeValue<double>(tree, "Parameters.<xmlattr>.Setpoint"));
    parameters_.setLowerLimit(
        treeValueIfThere(tree, "Parameters.<xmlattr>.LowerLimit", CConditionalParameters::NoLimit));
    parameters_.setUpperLimit(
        treeValueIfThere(tree, "Parameters.<xmlattr>.UpperLimit", CConditionalParameters::NoLimit));
    parameters_.setThreshold(treeValueIfThere(tree, "Parameters.<xmlattr>.Threshold", 0.0));
    parameters_.setDisabledU(treeValue<int>(tree, "Parameters.<xmlattr>.U_Disabled"));
    setpoint_ = parameters_.initialSetpoint();
}

CConditionalControlLoop::~CConditionalControlLoop() = default;

void CConditionalControlLoop::calculateOutput()
{
    if (!input_) {
        return;
    }
    const double actualValue = readInputOfStep();
    if (valueOutOfRange(actualValue)) {
        outOfRange_ = true;
    } else if (outOfRange_ && valueReenteredRange(actualValue)) {
        outOfRange_ = false;
    }
    controlValue_ = outOfRange_ ? parameters_.getDisabledU() : setpoint_;
    writeOutput(controlValue_);
}

int CConditionalControlLoop::sampleTime_ms() const
{
    // the processor reads it while another thread may be setting parameters
    CControlLoopElementGuard guard(this);
    return parameters_.getSampleTime();
}

std::string CConditionalControlLoop::getTypeName()
{
    return "Rvl::CConditional";
}

void CConditionalControlLoop::setParameters(const CControlParameters& parameters)
{
    const auto* const conditionalParameters = dynamic_cast<const CConditionalParameters*>(&parameters);
    if (!conditionalParameters) {
        // the message is that of the two-level loop, word for word: callers know it so
        RVL_THROW(std::invalid_argument, "Parameters is not of type Rvl::CTwoLevelParameters");
    }
    setParameters(*conditionalParameters);
}

CControlParameters& CConditionalControlLoop::controlParameters()
{
    return parameters_;
}

double CConditionalControlLoop::actualValue() const
{
    return readInput();
}

void CConditionalControlLoop::setParameters(const CConditionalParameters& parameters)
{
    CControlLoopElementGuard guard(this);
    parameters_ = parameters;
}

CConditionalParameters CConditionalControlLoop::parameters() const
{
    return parameters_;
}

bool CConditionalControlLoop::valueOutOfRange(double actualValue)
{
    const double upper = parameters_.getUpperLimit();
    const double lower = parameters_.getLowerLimit();
    return (actualValue > upper && upper != CConditionalParameters::NoLimit) ||
           (lower > actualValue && lower != CConditionalParameters::NoLimit);
}

bool CConditionalControlLoop::valueReenteredRange(double actualValue)
{
    const double upper = parameters_.getUpperLimit();
    const double lower = parameters_.getLowerLimit();
    const double threshold = parameters_.getThreshold();
    return (actualValue > lower + threshold || lower == CConditionalParameters::NoLimit) &&
           (upper - threshold > actualValue || upper == CConditionalParameters::NoLimit);
}

} // namespace Rvl
