#ifndef CMNSYS_TOOLS_SCHEMA_GUARD_FREE_NUMBERS_H_
#define CMNSYS_TOOLS_SCHEMA_GUARD_FREE_NUMBERS_H_

#include "findings.h"
#include "schema_set.h"

namespace CmnSys::SchemaGuard {

// Finds fields, extensions and enum values with a number that must stay free in their message or
// enum, and entries of the list of such numbers whose message or enum is not in the schema.
void FindUsedFreeNumbers(const SchemaSet& schema, Findings* findings);

}  // namespace CmnSys::SchemaGuard

#endif  // CMNSYS_TOOLS_SCHEMA_GUARD_FREE_NUMBERS_H_
