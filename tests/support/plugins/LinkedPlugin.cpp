/// A plug-in that registers nothing. Another one may link it.
#include "platform/rivlink_core/Environment.h"

namespace {

void registerNothing() {}

[[maybe_unused]] const bool registered =
    Rvl::CEnvironment::getInstance()->registerFactories().connect(registerNothing).connected();

} // namespace
