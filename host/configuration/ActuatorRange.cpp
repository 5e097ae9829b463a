#include "host/configuration/ActuatorRange.h"

#include "host/base/NumberText.h"

namespace Rvl {

bool SActuatorRange::contains(double value) const
{
    return !(minimum && value < *minimum) && !(maximum && value > *maximum);
}

std::string SActuatorRange::expected() const
{
    if (minimum && maximum) {
        return "one from " + exactText(*minimum) + " to " + exactText(*maximum);
    }
    return minimum ? exactText(*minimum) + " or more" : maximum ? exactText(*maximum) + " or less" : "any";
}

} // namespace Rvl
