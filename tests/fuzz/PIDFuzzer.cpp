// A PID step with any parameters, values and times: it crashes on none, and both classes calculate what their
// models calculate, to the last bit.
#include "driver/local/controller/controlloop/PIDAlgorithm.h"
#include "driver/local/controller/controlloop/PIDControlLoop.h"
#include "tests/fuzz/Fuzzing.h"
#include "tests/support/LoopModels.h"

#include <memory>
#include <vector>

using namespace Rvl;
using namespace Rvl::Test;

namespace {

class CInput : public ILoopIn
{
public:
    double readInputValue() override { return value; }
    double value = 0.0;
};

class COutput : public ILoopOut
{
public:
    void writeOutputValue(double value) override { written.push_back(value); }
    std::vector<double> written;
};

std::string text(double real, double model)
{
    return std::to_string(real) + " instead of " + std::to_string(model);
}

void requireSame(double real, double model)
{
    FUZZ_REQUIRE(sameBits(real, model), text(real, model));
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    CBytes bytes(data, size);
    CPIDAlgorithm algorithm;
    SPIDAlgorithmModel algorithmModel;

    const auto input = std::make_shared<CInput>();
    const auto output = std::make_shared<COutput>();
    CPIDControlLoop loop;
    loop.setInput(input);
    loop.setOutput(output);
    loop.setEnabled(true);
    SSensorModel sensor;
    CActuatorModel actuator;
    CPIDLoopModel loopModel(sensor, actuator);
    loopModel.setEnabled(true);

    PIDValues values{};
    while (!bytes.atEnd()) {
        switch (bytes.byte() % 8) {
        case 0: {
            for (double& value : values) {
                value = bytes.number();
            }
            break;
        }
        case 1: {
            const std::size_t index = bytes.byte() % values.size();
            values[index] = bytes.number();
            break;
        }
        case 2: {
            const double fixed = bytes.number();
            loop.writeFixedControlValue(fixed);
            loopModel.writeFixed(fixed);
            break;
        }
        case 3: {
            const bool enabled = bytes.byte() % 2 == 0;
            loop.setEnabled(enabled);
            loopModel.setEnabled(enabled);
            break;
        }
        case 4: {
            const auto override_ms = bytes.take<std::int32_t>();
            const double actual = bytes.number();
            const double setPoint = bytes.number();
            algorithmModel.override_ms = override_ms;
            requireSame(algorithm.calculate(actual, setPoint, override_ms),
                        algorithmModel.step(actual, setPoint));
            break;
        }
        default: {
            const std::vector<double> vector(values.begin(), values.end());
            if (vector != loop.parameters().data()) {
                const CPIDParameters parameters(vector, "fuzzed");
                algorithm.setParameters(parameters);
                algorithmModel.setParameters(values);
                loop.setParameters(parameters);
                loopModel.setParameters(vector);
            }
            const double actual = bytes.number();
            const double setPoint = bytes.number();
            requireSame(algorithm.calculate(actual, setPoint), algorithmModel.step(actual, setPoint));
            input->value = sensor.value = actual;
            loop.writeSetpoint(setPoint);
            loopModel.setPoint = setPoint;
            loop.process();
            loopModel.process();
            break;
        }
        }
        requireSame(loop.readControlValue(), loopModel.u);
        requireSame(loop.proportionalControlValue(), loopModel.P);
        requireSame(loop.integralControlValue(), loopModel.I);
        requireSame(loop.derivativeControlValue(), loopModel.D);
    }
    FUZZ_REQUIRE(output->written.size() == actuator.delivered.size(), "number of writes");
    for (std::size_t index = 0; index < output->written.size(); ++index) {
        requireSame(output->written[index], actuator.delivered[index]);
    }
    return 0;
}
