#pragma once

#include "host/web/StateJson.h"

#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

namespace Rvl {

// Schemas as OpenAPI 3.0 writes them, as far as the interface needs them.

/// {"type": "number"}, and likewise for "string", "boolean", "integer" and "object".
Json schemaOf(const std::string& type);
/// The same, or null.
Json nullable(const std::string& type);
/// An object of these members and no others.
Json object(const std::vector<std::pair<std::string, Json>>& members,
            const std::vector<std::string>& required);
/// An object whose members all have this schema, whatever their names.
Json mapOf(const Json& member);
Json arrayOf(const Json& item);

/// Throws CHttpError (400) with the member's name unless the document is as the schema says. Of a schema,
/// "type", "nullable", "properties", "required", "additionalProperties" and "items" count.
void checkSchema(const Json& schema, const Json& document, const std::string& name = {});

} // namespace Rvl
