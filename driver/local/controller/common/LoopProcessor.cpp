#include "driver/local/controller/common/LoopProcessor.h"

namespace Rvl {

ILoopProcessor::ILoopProcessor() = default;
ILoopProcessor::~ILoopProcessor() = default;

} // namespace Rvl
