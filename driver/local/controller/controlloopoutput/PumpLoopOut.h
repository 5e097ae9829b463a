#pragma once

#include "driver/local/controller/common/LoopElements.h"
#include "driver/local/Export.h"

#include <boost/property_tree/ptree_fwd.hpp>

namespace Rvl {

class IPumpInterface;

/// Writes the control value as the flow of a pump, in the pump's flow unit, limited to the pump's maximum in
/// either direction. With m1 and m2 the pump's maximum, read twice for every value v:
///     flow = m1               unless m1 > v (so for v = NaN too),
///     flow = max(v, -m2)      otherwise.
/// The flow goes on when the loop is disabled or destroyed. The pump is not owned and must outlive the
/// output's use.
class RIVLINK_LOCAL_EXPORT CPumpLoopOut : public ILoopOut
{
public:
    /// Reads "Pump", the name of a pump (required: the property tree's bad-path error if it is missing).
    /// Throws CConfigurationException if no pump bears the name.
    explicit CPumpLoopOut(const boost::property_tree::ptree& tree);
    /// From the pump itself. Null is allowed, but then nothing may be written.
    explicit CPumpLoopOut(IPumpInterface* pump);

    void writeOutputValue(double value) override;

private:
    IPumpInterface* const pump_;
};

} // namespace Rvl
