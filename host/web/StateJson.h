#pragma once

#include "host/session/ControllerState.h"

#include <nlohmann/json.hpp>

#include <optional>
#include <string>

namespace Rvl {

using Json = nlohmann::ordered_json;

/// The text of a document; what is not UTF-8 in it is replaced.
std::string textOf(const Json& json);

/// null for a number that is not finite, or that stands for no limit.
Json numberJson(double value);

/// A controller's state as docs/http.md gives it.
Json stateJson(const SControllerState& state);

/// The members of `after` that differ from `before`, to any depth of objects; nothing if none does.
std::optional<Json> changes(const Json& before, const Json& after);

} // namespace Rvl
