/// A broken plug-in: its registration throws.
#include "platform/rivlink_core/Environment.h"

#include <stdexcept>

namespace {

void registerNothing()
{
    throw std::runtime_error("the dongle is missing");
}

[[maybe_unused]] const bool registered =
    Rvl::CEnvironment::getInstance()->registerFactories().connect(registerNothing).connected();

} // namespace
