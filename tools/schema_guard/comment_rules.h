#ifndef CMNSYS_TOOLS_SCHEMA_GUARD_COMMENT_RULES_H_
#define CMNSYS_TOOLS_SCHEMA_GUARD_COMMENT_RULES_H_

#include "findings.h"
#include "schema_set.h"

namespace CmnSys::SchemaGuard {

// Finds comments that are missing or say nothing. The schema needs its source information.
//
// A comment begins every file and stands directly before every message, field, enum, value,
// service, method and extension. It is no placeholder, and it says more than the words of the name,
// than that numbers are unused, and than that the name is misspelt; but it does say the latter
// where it is so. A duration tells its unit, or that it is agreed, in its name or its comment.
void FindCommentFaults(const SchemaSet& schema, Findings* findings);

}  // namespace CmnSys::SchemaGuard

#endif  // CMNSYS_TOOLS_SCHEMA_GUARD_COMMENT_RULES_H_
