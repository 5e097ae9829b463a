#include "driver/local/controller/controlloop/ConditionalControlLoop.h"
#include "driver/local/controller/controlloop/PIDAlgorithm.h"
#include "driver/local/controller/controlloop/PIDControlLoop.h"
#include "driver/local/controller/controlloop/TwoLevelControlLoop.h"
#include "tests/support/FakeLoopElements.h"
#include "tests/support/LogCapture.h"
#include "tests/support/LoopModels.h"

#include <boost/property_tree/ptree.hpp>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <iterator>
#include <limits>
#include <map>
#include <memory>
#include <random>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

using namespace Rvl;
using namespace Rvl::Test;

namespace {

enum class EKind
{
    PID,
    TwoLevel,
    Conditional,
};

/// The random choices of one sequence. Everything is drawn from the engine itself: the library's
/// distributions give other numbers elsewhere.
class CChoices
{
public:
    explicit CChoices(std::uint32_t seed) : engine_(seed), coarse_(oneIn(2)) {}

    std::uint32_t below(std::uint32_t end) { return static_cast<std::uint32_t>(engine_()) % end; }
    bool oneIn(std::uint32_t count) { return below(count) == 0; }
    double number()
    {
        static const double special[] = {0.0,
                                         -0.0,
                                         1.0,
                                         -1.0,
                                         0.1,
                                         100.0,
                                         4294967295.0,
                                         1e-310,
                                         1e308,
                                         -1e308,
                                         std::numeric_limits<double>::infinity(),
                                         -std::numeric_limits<double>::infinity(),
                                         std::numeric_limits<double>::quiet_NaN()};
        if (oneIn(12)) {
            return special[below(std::size(special))];
        }
        // small whole numbers meet each other exactly, as limits and thresholds are to be met
        if (coarse_ ? !oneIn(8) : oneIn(4)) {
            return static_cast<double>(below(7)) - 3.0;
        }
        return (static_cast<double>(engine_()) - 2147483648.0) / 2147483648.0 * (oneIn(8) ? 1e6 : 20.0);
    }

private:
    std::mt19937 engine_;
    bool coarse_;
};

std::string text(double value)
{
    std::ostringstream stream;
    stream.precision(17);
    stream << value;
    return stream.str();
}

std::string text(const std::vector<double>& values)
{
    std::string result;
    for (const double value : values) {
        result += (result.empty() ? "{" : ", ") + text(value);
    }
    return result + "}";
}

/// One loop with its sensor, and the same as a model.
struct SStage
{
    EKind kind = EKind::PID;
    std::shared_ptr<FakeLoopIn> input = std::make_shared<FakeLoopIn>();
    SFailure inputFailure;
    std::shared_ptr<IControlLoop> loop;
    std::vector<std::unique_ptr<FakeValueListener>> listeners;
    std::size_t receivedBefore = 0;
    std::vector<double> received;

    SSensorModel sensor;
    std::unique_ptr<CLoopModel> model;
};

/// A cascade of one to three loops, outermost first, and its model; what is done to one is done to the other.
class CTwins
{
public:
    explicit CTwins(CChoices& choices) : choices_(choices)
    {
        const std::size_t count = choices.oneIn(2) ? 1 : 2 + choices.below(2);
        for (std::size_t index = 0; index < count; ++index) {
            stages_.push_back(std::make_unique<SStage>());
        }
        output_->onWrite = [this] { outputFailure_.use(); };
        for (std::size_t index = count; index-- > 0;) {
            build(index);
        }
    }

    const std::string& history() const { return history_; }

    /// Does one random thing to both; returns what differs afterwards, or an empty text.
    std::string step()
    {
        SStage& stage = *stages_[choices_.below(static_cast<std::uint32_t>(stages_.size()))];
        switch (choices_.below(16)) {
        case 0:
            return act(
                stage, "enable", [&] { stage.loop->setEnabled(true); },
                [&] { stage.model->setEnabled(true); });
        case 1: {
            const std::string difference = act(
                stage, "disable", [&] { stage.loop->setEnabled(false); },
                [&] { stage.model->setEnabled(false); });
            return difference + (threw_ ? "" : disabledInvariant(stage));
        }
        case 2:
            return act(
                stage, "init", [&] { stage.loop->init(); },
                [&] { stage.model->setEnabled(stage.model->enabled); });
        case 3: {
            const bool manual = choices_.oneIn(2);
            return act(
                stage, manual ? "manual" : "automatic", [&] { stage.loop->setManualMode(manual); },
                [&] { stage.model->setManual(manual); });
        }
        case 4: {
            const double value = choices_.number();
            return act(
                stage, "fixed value " + text(value), [&] { stage.loop->writeFixedControlValue(value); },
                [&] { stage.model->writeFixed(value); });
        }
        case 5: {
            const double value = choices_.number();
            return act(
                stage, "set point " + text(value), [&] { stage.loop->writeSetpoint(value); },
                [&] { stage.model->setPoint = value; });
        }
        case 6: {
            const double value = choices_.number();
            return act(
                stage, "write " + text(value), [&] { stage.loop->write(value); },
                [&] { stage.model->write(value); });
        }
        case 7:
            return setParameters(stage);
        case 8: {
            const int in = 1 + static_cast<int>(choices_.below(3));
            return act(
                stage, "input fails at read " + std::to_string(in), [&] { stage.inputFailure.in = in; },
                [&] { stage.sensor.failure.in = in; });
        }
        case 9: {
            const int in = 1 + static_cast<int>(choices_.below(2));
            return act(
                stage, "output fails at write " + std::to_string(in), [&] { outputFailure_.in = in; },
                [&] { actuator_.failure.in = in; });
        }
        case 10:
            return changeListeners(stage);
        default:
            break;
        }
        if (choices_.oneIn(2)) {
            const double value = choices_.number();
            return act(
                stage, "actual value " + text(value), [&] { stage.input->value = value; },
                [&] { stage.sensor.value = value; });
        }
        const std::size_t writtenBefore = output_->written.size();
        const bool calculates = stage.model->enabled && !stage.model->manual;
        const std::string difference = act(
            stage, "step", [&] { stage.loop->process(); }, [&] { stage.model->process(); });
        if (!calculates && output_->written.size() != writtenBefore) {
            return difference + "\na loop wrote that was not in automatic mode";
        }
        return difference + (calculates && !threw_ ? limitInvariant(stage) : "");
    }

private:
    void build(std::size_t index)
    {
        SStage& stage = *stages_[index];
        const bool innermost = index + 1 == stages_.size();
        COutputModel& output = innermost ? static_cast<COutputModel&>(actuator_) : *stages_[index + 1]->model;
        boost::property_tree::ptree tree;
        stage.kind = static_cast<EKind>(choices_.below(3));
        const std::string name = "loop " + std::to_string(index);
        if (stage.kind == EKind::PID) {
            auto model = std::make_unique<CPIDLoopModel>(stage.sensor, output);
            model->bumpless = choices_.oneIn(2);
            tree.put("Enabled", "false");
            tree.put("BumplessParameterChange", model->bumpless ? "true" : "false");
            for (const char* const key : {"Name", "K", "Td", "Ti", "DerivativeGainLimit", "MinU", "MaxU",
                                          "DisabledU", "SampleTime_ms", "Setpoint"}) {
                tree.put(std::string("PIDParam.<xmlattr>.") + key, "0");
            }
            stage.loop = std::make_shared<CPIDControlLoop>(tree);
            history_ += name + " is a PID loop" + (model->bumpless ? ", bumpless\n" : "\n");
            stage.model = std::move(model);
        } else if (stage.kind == EKind::TwoLevel) {
            for (const char* const key : {"SampleTime_ms", "Setpoint", "LowerThreshold", "UpperThreshold",
                                          "U_Up", "U_Down", "U_Disabled"}) {
                tree.put(std::string("Parameters.<xmlattr>.") + key, "0");
            }
            stage.loop = std::make_shared<CTwoLevelControlLoop>(tree);
            stage.model = std::make_unique<CTwoLevelLoopModel>(stage.sensor, output);
            history_ += name + " is a two-level loop\n";
        } else {
            for (const char* const key :
                 {"SampleTime_ms", "Setpoint", "LowerLimit", "UpperLimit", "U_Disabled"}) {
                tree.put(std::string("Parameters.<xmlattr>.") + key, "0");
            }
            stage.loop = std::make_shared<CConditionalControlLoop>(tree);
            stage.model = std::make_unique<CConditionalLoopModel>(stage.sensor, output);
            history_ += name + " is a conditional loop\n";
        }
        stage.input->onRead = [&stage] { stage.inputFailure.use(); };
        stage.loop->setInput(stage.input);
        if (innermost) {
            stage.loop->setOutput(output_);
        } else {
            stage.loop->setOutput(stages_[index + 1]->loop);
        }
        for (int listener = 0; listener < 2; ++listener) {
            stage.listeners.push_back(std::make_unique<FakeValueListener>());
            stage.listeners.back()->onValue = [&stage, listener = stage.listeners.back().get()] {
                stage.received.push_back(listener->values.back());
            };
        }
    }

    std::string setParameters(SStage& stage)
    {
        const EKind given = choices_.oneIn(6) ? static_cast<EKind>(choices_.below(3)) : stage.kind;
        const std::size_t size = given == EKind::PID ? 10 : given == EKind::TwoLevel ? 7 : 8;
        std::vector<double> values;
        for (std::size_t index = 0; index < size; ++index) {
            values.push_back(choices_.number());
        }
        std::unique_ptr<CControlParameters> parameters;
        if (given == EKind::PID && choices_.oneIn(2)) {
            parameters = std::make_unique<CControlParameters>("any ten values", values);
        } else if (given == EKind::PID) {
            parameters = std::make_unique<CPIDParameters>(values, "PID");
        } else if (given == EKind::TwoLevel) {
            parameters = std::make_unique<CTwoLevelParameters>();
        } else {
            parameters = std::make_unique<CConditionalParameters>();
        }
        parameters->setData(values);
        return act(
            stage, "parameters " + text(values), [&] { stage.loop->setParameters(*parameters); },
            [&] {
                if (!stage.model->setParameters(values)) {
                    throw std::invalid_argument("");
                }
            });
    }

    std::string changeListeners(SStage& stage)
    {
        FakeValueListener& listener = *stage.listeners[choices_.below(2)];
        const bool add = choices_.oneIn(2);
        // the model counts them: adding one twice, or removing one that is not there, changes nothing
        bool& there = there_[&listener];
        return act(
            stage, add ? "add listener" : "remove listener",
            [&] {
                if (add) {
                    stage.loop->addActualValueListener(&listener);
                } else {
                    stage.loop->removeActualValueListener(&listener);
                }
            },
            [&] {
                stage.model->listeners += static_cast<int>(add) - static_cast<int>(there);
                there = add;
            });
    }

    /// Does it to both and returns what differs.
    std::string act(const SStage& stage, const std::string& what, const std::function<void()>& real,
                    const std::function<void()>& model)
    {
        std::size_t index = 0;
        while (stages_[index].get() != &stage) {
            ++index;
        }
        history_ += "loop " + std::to_string(index) + ": " + what + "\n";
        const std::string thrown = exceptionOf(real);
        const std::string expected = exceptionOf(model);
        threw_ = !thrown.empty();
        std::string difference;
        if (thrown != expected) {
            difference += "\nthrew \"" + thrown + "\" instead of \"" + expected + "\"";
        }
        for (const auto& other : stages_) {
            difference += differences(*other);
        }
        difference += differences(output_->written, actuator_.delivered, writtenBefore_, "written values");
        if (output_->enabledCalls != actuator_.switches) {
            difference += "\nthe output received another state";
        }
        return difference;
    }

    static std::string exceptionOf(const std::function<void()>& action)
    {
        try {
            action();
        } catch (const SModelFault&) {
            return "fault";
        } catch (const std::invalid_argument&) {
            return "invalid_argument";
        }
        return {};
    }

    static std::string differences(const std::vector<double>& real, const std::vector<double>& model,
                                   std::size_t& comparedBefore, const std::string& what)
    {
        if (real.size() != model.size()) {
            return "\n" + what + ": " + std::to_string(real.size()) + " instead of " +
                   std::to_string(model.size());
        }
        for (; comparedBefore < real.size(); ++comparedBefore) {
            if (!sameBits(real[comparedBefore], model[comparedBefore])) {
                return "\n" + what + ": " + text(real[comparedBefore]) + " instead of " +
                       text(model[comparedBefore]);
            }
        }
        return {};
    }

    std::string differences(SStage& stage)
    {
        std::string result;
        const auto compare = [&result](const char* what, double real, double model) {
            if (!sameBits(real, model)) {
                result += std::string("\n") + what + ": " + text(real) + " instead of " + text(model);
            }
        };
        compare("enabled", stage.loop->isEnabled(), stage.model->enabled);
        compare("set point", stage.loop->readSetpoint(), stage.model->setPoint);
        compare("control value", stage.loop->readControlValue(), stage.model->u);
        compare("disabled value", stage.loop->controlParameters().getDisabledU(), stage.model->disabledU());
        compare("number of reads", stage.input->reads, stage.sensor.reads);
        if (stage.kind == EKind::PID) {
            const auto& loop = static_cast<const CPIDControlLoop&>(*stage.loop);
            const auto& model = static_cast<const CPIDLoopModel&>(*stage.model);
            compare("P", loop.proportionalControlValue(), model.P);
            compare("I", loop.integralControlValue(), model.I);
            compare("D", loop.derivativeControlValue(), model.D);
        }
        return result +
               differences(stage.received, stage.model->received, stage.receivedBefore, "values received");
    }

    static std::string disabledInvariant(const SStage& stage)
    {
        const bool kept = !stage.loop->isEnabled() &&
                          (stage.kind != EKind::PID ||
                           static_cast<const CPIDControlLoop&>(*stage.loop).integralControlValue() == 0.0);
        return kept ? "" : "\na disabled loop is enabled or keeps its integral";
    }

    static std::string limitInvariant(const SStage& stage)
    {
        if (stage.kind != EKind::PID) {
            return {};
        }
        const CPIDParameters parameters = static_cast<const CPIDControlLoop&>(*stage.loop).parameters();
        const double u = stage.loop->readControlValue();
        // limits the wrong way round, and NaN, are the arithmetic's business
        const bool outside = parameters.getMinU() <= parameters.getMaxU() &&
                             (u > parameters.getMaxU() || u < parameters.getMinU());
        return outside ? "\nthe control value " + text(u) + " lies outside its limits" : "";
    }

    CChoices& choices_;
    std::vector<std::unique_ptr<SStage>> stages_;
    std::shared_ptr<FakeLoopOut> output_ = std::make_shared<FakeLoopOut>();
    SFailure outputFailure_;
    CActuatorModel actuator_;
    std::size_t writtenBefore_ = 0;
    std::map<const FakeValueListener*, bool> there_;
    bool threw_ = false;
    std::string history_;
};

/// Runs the sequence of this seed; false, with a failure that shows the sequence, if loops and model differ.
bool runSequence(std::uint32_t seed)
{
    CChoices choices(seed);
    CTwins twins(choices);
    for (int step = 0; step < 80; ++step) {
        const std::string difference = twins.step();
        if (!difference.empty()) {
            ADD_FAILURE() << "with RIVLINK_TEST_SEED=" << seed << ", after\n"
                          << twins.history() << "the loops differ from their model:" << difference;
            return false;
        }
    }
    return true;
}

} // namespace

// RIVLINK_TEST_SEED=N runs the one sequence that a failure named; otherwise the same thousands every time.
TEST(LoopModel, RandomSequencesOfOperationsDoWhatTheModelDoes)
{
    const LogCapture refusedParameters("ExceptionLogger");
    if (const char* const seed = std::getenv("RIVLINK_TEST_SEED")) {
        runSequence(static_cast<std::uint32_t>(std::strtoul(seed, nullptr, 10)));
        return;
    }
    for (std::uint32_t seed = 1; seed <= 2000; ++seed) {
        if (!runSequence(seed)) {
            return;
        }
    }
}

TEST(LoopModel, PIDAlgorithmCalculatesWhatItsModelDoes)
{
    for (std::uint32_t seed = 1; seed <= 2000; ++seed) {
        CChoices choices(seed);
        CPIDAlgorithm algorithm;
        SPIDAlgorithmModel model;
        std::string history;
        for (int step = 0; step < 40; ++step) {
            if (choices.oneIn(4)) {
                PIDValues values{};
                for (double& value : values) {
                    value = choices.number();
                }
                algorithm.setParameters(CPIDParameters({values.begin(), values.end()}, "random"));
                model.setParameters(values);
                history += "parameters " + text(algorithm.parameters().data()) + "\n";
            }
            const double actual = choices.number();
            const double setPoint = choices.number();
            history += "actual value " + text(actual) + ", set point " + text(setPoint);
            double u = 0.0;
            if (choices.oneIn(4)) {
                model.override_ms = static_cast<int>(choices.below(300)) - 100;
                history += ", sample time " + std::to_string(model.override_ms);
                u = algorithm.calculate(actual, setPoint, model.override_ms);
            } else {
                u = algorithm.calculate(actual, setPoint);
            }
            history += "\n";
            const double expected = model.step(actual, setPoint);
            ASSERT_TRUE(sameBits(u, expected)) << "with seed " << seed << ", after\n"
                                               << history << text(u) << " instead of " << text(expected);
        }
    }
}
