/// A broken plug-in: it offers its loops in a version that this host does not know.
#include "common/LoopGraph.h"
#include "platform/rivlink_core/Environment.h"

#if defined(_WIN32)
#define OTHER_EXPORT __declspec(dllexport)
#else
#define OTHER_EXPORT __attribute__((visibility("default")))
#endif

namespace {

void registerNothing() {}

[[maybe_unused]] const bool registered =
    Rvl::CEnvironment::getInstance()->registerFactories().connect(registerNothing).connected();

} // namespace

extern "C" OTHER_EXPORT const Rvl::SLoops* rivlinkLoops()
{
    // no functions: nothing but the version may be looked at
    static const Rvl::SLoops loops{Rvl::SLoops::currentVersion + 1, nullptr, nullptr};
    return &loops;
}
