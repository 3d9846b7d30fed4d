#ifndef CMNSYS_TOOLS_SCHEMA_GUARD_CONTRACT_H_
#define CMNSYS_TOOLS_SCHEMA_GUARD_CONTRACT_H_

#include "findings.h"
#include "schema_set.h"

namespace CmnSys::SchemaGuard {

// Finds what breaks the contract that the baseline states. Whatever the baseline declares must be
// there still, under the same name, with every property unchanged, and in the same order. What is
// new may stand where it does when
// - an enum value is not the first, where it would become the default,
// - a message, enum, service or method stands after the old ones of its scope, and an import after
//   the old imports: these have no number and are found by their index.
// What may be new at all is a matter of additions.h.
void FindBreaches(const SchemaSet& baseline, const SchemaSet& current, Findings* findings);

}  // namespace CmnSys::SchemaGuard

#endif  // CMNSYS_TOOLS_SCHEMA_GUARD_CONTRACT_H_
