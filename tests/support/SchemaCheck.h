#pragma once

#include "tests/support/ProgramRun.h"

#include <string>
#include <vector>

namespace Rvl::Test {

/// A place that a validating parser marks.
struct SMark
{
    int line = 0;
    std::string text;
};

/// Validates documents against an XML Schema with xmllint.
class CSchemaCheck
{
public:
    /// Throws std::runtime_error if the schema is none.
    explicit CSchemaCheck(const std::string& schema);

    /// The marks in each of the documents, which must be well-formed; none in one that validates.
    std::vector<std::vector<SMark>> marks(const std::vector<std::string>& documents) const;
    std::vector<SMark> marks(const std::string& document) const;

private:
    CTemporaryFolder folder_;
    std::string schema_;
};

/// The number of the line, counted from 1, that first contains the text; 0 if none does.
int lineWith(const std::string& document, const std::string& text);

/// Whether a mark stands in that line and contains the text.
bool isMarked(const std::vector<SMark>& marks, int line, const std::string& text);

/// The marks, one per line, for messages.
std::string asText(const std::vector<SMark>& marks);

} // namespace Rvl::Test
