#pragma once

#include "driver/local/controller/common/ControlParameters.h"
#include "driver/local/Export.h"

#include <boost/property_tree/ptree_fwd.hpp>

#include <algorithm>
#include <string>
#include <vector>

namespace Rvl {

/// The parameters of a PID controller: ten values with fixed meanings. Nothing is checked for consistency;
/// the controllers apply the values as they are.
class RIVLINK_LOCAL_EXPORT CPIDParameters : public CControlParameters
{
public:
    /// Lower bound of the sample time, in milliseconds.
    static constexpr int MinimumSampleTime = 20;

    /// The keys of the values, in the order of the type's description.
    static const std::vector<SKey>& keys();

    /// Ten zeros, no name, not immutable.
    CPIDParameters();
    /// Ten zeros but for a sample time of 20 ms; not immutable.
    explicit CPIDParameters(const std::string& name);
    /// Takes over the values, however many, and the name; not immutable. The accessors need ten values.
    CPIDParameters(const std::vector<double>& data, const std::string& name);
    /// From the configuration's node of one PID parameter set: the name and the flag as CControlParameters
    /// reads them, then the attributes "K", "Td", "Ti", "Tt", "DerivativeGainLimit", "MinU", "MaxU",
    /// "DisabledU", "SampleTime_ms" and "Setpoint". Only "Tt" may be absent, or no number, and is 0.0 then;
    /// for the others the property tree's bad-path and bad-data errors pass.
    explicit CPIDParameters(const boost::property_tree::ptree& tree);
    CPIDParameters(const CPIDParameters& other);
    CPIDParameters& operator=(const CPIDParameters& other);
    ~CPIDParameters() override;

    /// Control value while the loop is disabled.
    double getDisabledU() const override;

    /// Proportional gain, in units of the control value per unit of the actual value.
    double getK() const { return value(IndexK); }
    /// Integral time in seconds; 0 switches the integral action off.
    double getTi() const { return value(IndexTi); }
    /// Derivative time in seconds; 0 switches the derivative action off.
    double getTd() const { return value(IndexTd); }
    /// Bound on the magnitude of the derivative term, in units of the control value.
    double getDerivativeGainLimit() const { return value(IndexDerivativeGainLimit); }
    /// Tracking time of the anti-windup in seconds: 0.8 Ti if it is stored as 0 and Ti is not 0.
    double getTt() const { return getTi() != 0.0 && value(IndexTt) == 0.0 ? 0.8 * getTi() : value(IndexTt); }
    /// Upper limit of the control value.
    double getMaxU() const { return value(IndexMaxU); }
    /// Lower limit of the control value.
    double getMinU() const { return value(IndexMinU); }
    /// Set point with which a loop begins.
    double initialSetpoint() const { return value(IndexSetpoint); }
    /// 100 / K, in percent; infinite for K = 0.
    double getProportionalBand() const;
    /// Sample time in milliseconds without its fraction, at least MinimumSampleTime.
    int sampleTime_ms() const { return std::max(truncated(value(IndexSampleTime_ms)), +MinimumSampleTime); }
    /// sampleTime_ms() in seconds.
    double sampleTime_s() const { return sampleTime_ms() / 1000.0; }

    void setK(double gain);
    void setTi(double integralTime_s);
    void setTd(double derivativeTime_s);
    void setDerivativeGainLimit(double limit);
    void setTt(double trackingTime_s);
    void setMaxU(double value);
    void setMinU(double value);
    void setDisabledU(double value);
    void setInitialSetpoint(double setpoint);
    /// Sets K = 100 / band.
    void setProportionalBand(double band);
    /// Stored as it is, also below MinimumSampleTime.
    void setSampleTime(int sampleTime_ms);
    /// Stored in whole milliseconds; a fraction of a millisecond is cut off.
    void setSampleTimeInSeconds(double sampleTime_s);

private:
    enum Index
    {
        IndexK,
        IndexTi,
        IndexTd,
        IndexDerivativeGainLimit,
        IndexTt,
        IndexMaxU,
        IndexMinU,
        IndexDisabledU,
        IndexSetpoint,
        IndexSampleTime_ms,
        IndexCount,
    };
};

} // namespace Rvl
