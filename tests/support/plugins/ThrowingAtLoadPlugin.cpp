/// A broken plug-in: its static initialisation throws.
#include <stdexcept>

namespace {

int licence()
{
    throw std::runtime_error("the licence is missing");
}

[[maybe_unused]] const int initialised = licence();

} // namespace
