#ifndef CMNSYS_TOOLS_SCHEMA_GUARD_ADDITIONS_H_
#define CMNSYS_TOOLS_SCHEMA_GUARD_ADDITIONS_H_

#include "findings.h"
#include "schema_set.h"

namespace CmnSys::SchemaGuard {

// Finds what never appears in the schema, in the declarations that `current` has and `baseline` has
// not: `required`, `reserved`, `oneof`, a JSON name of one's own, streaming methods, public and
// weak imports, another syntax than proto2; options, except `optimize_for = SPEED` of a file, and
// `packed = true` and `deprecated = true` of a field; a service that shares its file with another
// or lacks the two options that every service carries.
void FindForbiddenAdditions(const SchemaSet& baseline, const SchemaSet& current,
                            Findings* findings);

}  // namespace CmnSys::SchemaGuard

#endif  // CMNSYS_TOOLS_SCHEMA_GUARD_ADDITIONS_H_
