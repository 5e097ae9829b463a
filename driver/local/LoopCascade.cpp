#include "driver/local/LoopCascade.h"

#include "driver/local/controller/common/ControlLoop.h"

#include <utility>

namespace Rvl {

std::vector<std::shared_ptr<IControlLoop>> loopsFrom(const std::shared_ptr<IControlLoopElement>& outermost)
{
    std::vector<std::shared_ptr<IControlLoop>> loops;
    auto loop = std::dynamic_pointer_cast<IControlLoop>(outermost);
    while (loop) {
        auto next = std::dynamic_pointer_cast<IControlLoop>(loop->outputElement());
        loops.push_back(std::move(loop));
        loop = std::move(next);
    }
    return loops;
}

} // namespace Rvl
