#ifndef CMNSYS_TOOLS_SCHEMA_GUARD_COMMENT_RULES_H_
#define CMNSYS_TOOLS_SCHEMA_GUARD_COMMENT_RULES_H_

#include "findings.h"
#include "schema_set.h"

namespace CmnSys::SchemaGuard {

// Finds comments that are missing or say nothing. The schema needs its source information.
//
// A comment stands before every file, message, enum, service, method and extension. It stands
// before
// - a field or value whose number does not follow on the one before it, and a first value other
//   than 0, unless the comment of the message or enum tells the number or the gap;
// - a field that selects one of the other fields of its message as the payload;
// - a field that is deprecated, or whose default is not what its type reads as anyway;
// - a name that is misspelt and stays so, where the comment says as much.
// A number that tells a time has its unit, or that this is the producers' convention, in its name,
// in the comment of its group of fields, of its message or of the file.
// No comment is a placeholder or says only what the name says.
void FindCommentFaults(const SchemaSet& schema, Findings* findings);

}  // namespace CmnSys::SchemaGuard

#endif  // CMNSYS_TOOLS_SCHEMA_GUARD_COMMENT_RULES_H_
