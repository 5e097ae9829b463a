#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

/// What the loops calculate, written down once more on plain numbers: the oracle against which tests and
/// fuzzers hold the real ones. Nothing of the plug-in is used here, and the terms stand in the order in which
/// they are added, so that results agree to the last bit.
namespace Rvl::Test {

/// The same number down to the last bit. Any NaN is as good as another: which of two NaN operands a sum
/// hands on is the compiler's choice.
inline bool sameBits(double left, double right)
{
    return (std::isnan(left) && std::isnan(right)) ||
           std::bit_cast<std::uint64_t>(left) == std::bit_cast<std::uint64_t>(right);
}

/// The ten values of PID parameters, in their order.
enum EPIDValue
{
    PID_K,
    PID_Ti,
    PID_Td,
    PID_DerivativeLimit,
    PID_Tt,
    PID_MaxU,
    PID_MinU,
    PID_DisabledU,
    PID_Setpoint,
    PID_SampleTime_ms,
};
using PIDValues = std::array<double, 10>;

inline int modelSampleTime_ms(double stored)
{
    return std::isnan(stored) ? 20 : static_cast<int>(std::clamp(stored, 20.0, 2147483647.0));
}

inline double modelTrackingTime_s(const PIDValues& p)
{
    return p[PID_Tt] == 0.0 && p[PID_Ti] != 0.0 ? 0.8 * p[PID_Ti] : p[PID_Tt];
}

inline double modelBounded(double d, double limit)
{
    return std::fabs(d) > limit ? (d >= 0.0 ? limit : -limit) : d;
}

/// MaxU wins over MinU.
inline double modelLimited(double v, const PIDValues& p)
{
    return v > p[PID_MaxU] ? p[PID_MaxU] : p[PID_MinU] > v ? p[PID_MinU] : v;
}

struct SPIDAlgorithmModel
{
    PIDValues p{};
    double y = 0.0;
    double I = 0.0;
    int override_ms = 0;

    double step(double actual, double setPoint)
    {
        const double dt = (override_ms ? override_ms : modelSampleTime_ms(p[PID_SampleTime_ms])) / 1000.0;
        const double e = setPoint - actual;
        const double P = p[PID_K] * e;
        const double a1 = p[PID_Td] == 0.0 ? 0.0 : -(p[PID_K] * p[PID_Td] / dt);
        const double D = modelBounded(a1 * (actual - y), p[PID_DerivativeLimit]);
        const double v = D + P + I;
        const double u = modelLimited(v, p);
        if (p[PID_Ti] != 0.0) {
            I = (p[PID_K] * dt / p[PID_Ti] * e + dt / modelTrackingTime_s(p) * (u - v)) + I;
        }
        y = actual;
        return u;
    }

    void setParameters(const PIDValues& values)
    {
        if (values != p) { // a NaN makes every set another one
            p = values;
            I = 0.0;
        }
    }
};

/// Thrown by the models' sensors and actuators when they are set to fail.
struct SModelFault
{};

/// Counts down to one failure.
struct SFailure
{
    int in = 0; ///< the how-manieth use from now on fails; 0: none

    void use()
    {
        if (in > 0 && --in == 0) {
            throw SModelFault();
        }
    }
};

struct SSensorModel
{
    double value = 0.0;
    int reads = 0;
    SFailure failure;

    double read()
    {
        ++reads;
        failure.use();
        return value;
    }
};

/// Where a loop writes: repeats are swallowed.
class COutputModel
{
public:
    virtual ~COutputModel() = default;
    virtual void deliver(double value) = 0;
    virtual void switched(bool on) = 0;

    void write(double value)
    {
        if (value != last_) {
            last_ = value;
            deliver(value);
        }
    }

private:
    double last_ = std::numeric_limits<double>::quiet_NaN();
};

class CActuatorModel : public COutputModel
{
public:
    void deliver(double value) override
    {
        delivered.push_back(value);
        failure.use();
    }
    void switched(bool on) override { switches.push_back(on); }

    std::vector<double> delivered;
    std::vector<bool> switches;
    SFailure failure;
};

/// The states of every loop: disabled, automatic, manual.
class CLoopModel : public COutputModel
{
public:
    CLoopModel(SSensorModel& sensor, COutputModel& output) : sensor_(sensor), output_(output) {}

    void deliver(double value) override { setPoint = value; }
    void switched(bool on) override { setEnabled(on); }

    virtual void setEnabled(bool on)
    {
        if (on == enabled) {
            return;
        }
        enabled = on;
        output_.switched(on);
        if (on) {
            writeFixed(fixed);
        } else {
            u = disabledU();
            output_.write(u);
        }
    }
    virtual void writeFixed(double value)
    {
        fixed = value;
        if (enabled && manual) {
            u = value;
            output_.write(u);
        }
    }
    void setManual(bool on)
    {
        manual = on;
        writeFixed(fixed);
    }
    void process()
    {
        if (enabled && !manual) {
            calculate();
        }
        for (int listener = 0; listener < listeners; ++listener) {
            received.push_back(sensor_.read());
        }
    }
    /// Whether values of this number are taken as parameters.
    virtual bool setParameters(const std::vector<double>& values) = 0;
    virtual double disabledU() const = 0;

    bool enabled = false;
    bool manual = false;
    double setPoint = 0.0;
    double u = 0.0;
    double fixed = 0.0;
    int listeners = 0;
    std::vector<double> received;

protected:
    virtual void calculate() = 0;

    void send(double value)
    {
        u = value;
        output_.write(u);
    }

    SSensorModel& sensor_;
    COutputModel& output_;
};

class CPIDLoopModel : public CLoopModel
{
public:
    using CLoopModel::CLoopModel;

    void setEnabled(bool on) override
    {
        CLoopModel::setEnabled(on);
        if (!on) {
            P = I = D = 0.0;
        }
    }
    void writeFixed(double value) override
    {
        P = I = D = 0.0;
        CLoopModel::writeFixed(value);
    }
    bool setParameters(const std::vector<double>& values) override
    {
        if (values.size() != p.size()) {
            return false;
        }
        const double formerK = p[PID_K];
        std::copy(values.begin(), values.end(), p.begin());
        I = bumpless ? I + (formerK - p[PID_K]) * e : I;
        const double dt = modelSampleTime_ms(p[PID_SampleTime_ms]) / 1000.0;
        pullBack_ = p[PID_Ti] == 0.0 ? 0.0 : dt / modelTrackingTime_s(p);
        integral_ = p[PID_Ti] == 0.0 ? 0.0 : p[PID_K] * dt / p[PID_Ti];
        derivative_ = p[PID_Td] == 0.0 ? 0.0 : -(p[PID_K] * p[PID_Td] / dt);
        return true;
    }
    double disabledU() const override { return p[PID_DisabledU]; }

    PIDValues p{};
    double e = 0.0;
    double P = 0.0;
    double I = 0.0;
    double D = 0.0;
    bool bumpless = true;

protected:
    void calculate() override
    {
        const double before = y_;
        y_ = sensor_.read();
        e = setPoint - y_;
        P = p[PID_K] * e;
        D = p[PID_Td] == 0.0 ? 0.0 : modelBounded((y_ - before) * derivative_, p[PID_DerivativeLimit]);
        const double v = D + P + I;
        u = modelLimited(v, p);
        if (p[PID_Ti] != 0.0) {
            I = ((u - v) * pullBack_ + integral_ * e) + I;
        }
        output_.write(u);
    }

private:
    double y_ = 0.0;
    double pullBack_ = 0.0;
    double integral_ = 0.0;
    double derivative_ = 0.0;
};

/// Values: upper offset, lower offset, up, down, disabled, set point, sample time.
class CTwoLevelLoopModel : public CLoopModel
{
public:
    using CLoopModel::CLoopModel;

    bool setParameters(const std::vector<double>& values) override
    {
        if (values.size() != 7) {
            return false;
        }
        p = values;
        return true;
    }
    double disabledU() const override { return p[4]; }

    std::vector<double> p = std::vector<double>(7, 0.0);

protected:
    void calculate() override
    {
        const double up = p[2];
        const double down = p[3];
        if (u == up && sensor_.read() > setPoint + p[0]) {
            send(down);
        }
        if (u == down && setPoint - p[1] > sensor_.read()) {
            send(up);
        }
    }
};

/// Values: upper limit, lower limit, threshold, -, disabled, -, set point, sample time.
class CConditionalLoopModel : public CLoopModel
{
public:
    using CLoopModel::CLoopModel;

    bool setParameters(const std::vector<double>& values) override
    {
        if (values.size() != 8) {
            return false;
        }
        p = values;
        return true;
    }
    double disabledU() const override { return p[4]; }

    std::vector<double> p = std::vector<double>(8, 0.0);

protected:
    void calculate() override
    {
        constexpr double none = 4294967295.0;
        const double x = sensor_.read();
        const bool above = p[0] != none && x > p[0];
        const bool below = p[1] != none && x < p[1];
        const bool backFromAbove = p[0] == none || x < p[0] - p[2];
        const bool backFromBelow = p[1] == none || x > p[1] + p[2];
        out_ = above || below || (out_ && !(backFromAbove && backFromBelow));
        send(out_ ? p[4] : setPoint);
    }

private:
    bool out_ = false;
};

} // namespace Rvl::Test
