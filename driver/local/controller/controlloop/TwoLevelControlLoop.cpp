#include "driver/local/controller/controlloop/TwoLevelControlLoop.h"

#include "common/LoggedThrow.h"
#include "common/TreeValues.h"

#include <boost/property_tree/ptree.hpp>

#include <stdexcept>

namespace Rvl {

CTwoLevelControlLoop::CTwoLevelControlLoop(const boost::property_tree::ptree& tree)
{
    controlType_ = TypeTwoLevel;
    parameters_.setSampleTime(treeValue<int>(tree, "Parameters.<xmlattr>.SampleTime_ms"));
    parameters_.setInitialSetpoint(treeValue<double>(tree, "Parameters.<xmlattr>.Setpoint"));
    parameters_.setLowerThresholdOffset(treeValue<double>(tree, "Parameters.<xmlattr>.LowerThreshold"));
    parameters_.setUpperThresholdOffset(treeValue<double>(tree, "Parameters.<xmlattr>.UpperThreshold"));
    // whole numbers: the control value is compared with them exactly
    parameters_.setControlValueUp(treeValue<int>(tree, "Parameters.<xmlattr>.U_Up"));
    parameters_.setControlValueDown(treeValue<int>(tree, "Parameters.<xmlattr>.U_Down"));
    parameters_.setDisabledU(treeValue<double>(tree, "Parameters.<xmlattr>.U_Disabled"));
    controlValue_ = parameters_.getDisabledU();
    setpoint_ = parameters_.initialSetpoint();
}

CTwoLevelControlLoop::~CTwoLevelControlLoop() = default;

void CTwoLevelControlLoop::calculateOutput()
{
    if (!input_) {
        return;
    }
    if (controlValue_ == parameters_.getControlValueUp()) {
        if (readInputOfStep() > setpoint_ + parameters_.getUpperThresholdOffset()) {
            controlValue_ = parameters_.getControlValueDown();
            writeOutput(controlValue_);
        }
    }
    if (controlValue_ == parameters_.getControlValueDown()) {
        if (setpoint_ - parameters_.getLowerThresholdOffset() > readInputOfStep()) {
            controlValue_ = parameters_.getControlValueUp();
            writeOutput(controlValue_);
        }
    }
}

int CTwoLevelControlLoop::sampleTime_ms() const
{
    // the processor reads it while another thread may be setting parameters
    CControlLoopElementGuard guard(this);
    return parameters_.getSampleTime();
}

std::string CTwoLevelControlLoop::getTypeName()
{
    return "Rvl::CTwoLevelControlLoop";
}

void CTwoLevelControlLoop::setParameters(const CControlParameters& parameters)
{
    const auto* const twoLevelParameters = dynamic_cast<const CTwoLevelParameters*>(&parameters);
    if (!twoLevelParameters) {
        RVL_THROW(std::invalid_argument, "Parameters is not of type Rvl::CTwoLevelParameters");
    }
    setParameters(*twoLevelParameters);
}

CControlParameters& CTwoLevelControlLoop::controlParameters()
{
    return parameters_;
}

double CTwoLevelControlLoop::actualValue() const
{
    return readInput();
}

void CTwoLevelControlLoop::setParameters(const CTwoLevelParameters& parameters)
{
    CControlLoopElementGuard guard(this);
    parameters_ = parameters;
}

void CTwoLevelControlLoop::resume(double controlValue)
{
    CControlLoopElementGuard guard(this);
    if (controlValue_ != parameters_.getControlValueUp() &&
        controlValue_ != parameters_.getControlValueDown()) {
        driveControlValue(controlValue);
    }
}

CTwoLevelParameters CTwoLevelControlLoop::parameters() const
{
    return parameters_;
}

} // namespace Rvl
