#pragma once

#include <string>

namespace Rvl::Test {

/// The host program that was built together with the tests.
inline const std::string host = RIVLINK_HOST_PROGRAM;
/// The folder of the examples.
inline const std::string examples = RIVLINK_EXAMPLES_DIRECTORY;

} // namespace Rvl::Test
