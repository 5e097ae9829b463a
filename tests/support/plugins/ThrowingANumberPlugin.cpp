/// A broken plug-in: its registration throws what is no exception.
#include "platform/rivlink_core/Environment.h"

namespace {

void registerNothing()
{
    throw 42;
}

[[maybe_unused]] const bool registered =
    Rvl::CEnvironment::getInstance()->registerFactories().connect(registerNothing).connected();

} // namespace
