// The class of a message's view: its accessors and what it keeps.

#ifndef CMNSYS_COMPILER_VIEW_CLASS_H_
#define CMNSYS_COMPILER_VIEW_CLASS_H_

#include "view_fields.h"

namespace CmnSys::Compiler {

void WriteViewClass(const ViewFields& fields);

// Writes the members that need the views of other messages, and what tells unknown fields.
void WriteViewMembers(const ViewFields& fields);

}  // namespace CmnSys::Compiler

#endif  // CMNSYS_COMPILER_VIEW_CLASS_H_
