// The pass of a view over its message, which finds all fields.

#ifndef CMNSYS_COMPILER_VIEW_SCAN_H_
#define CMNSYS_COMPILER_VIEW_SCAN_H_

#include "view_fields.h"

namespace CmnSys::Compiler {

// Writes the member functions Scan, ScanPieces and Fail of a view that is scanned.
void WriteViewScan(const ViewFields& fields);

}  // namespace CmnSys::Compiler

#endif  // CMNSYS_COMPILER_VIEW_SCAN_H_
