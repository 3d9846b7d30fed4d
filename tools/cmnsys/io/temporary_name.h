// The name of the one incomplete file that a process may have.

#ifndef CMNSYS_TOOLS_IO_TEMPORARY_NAME_H_
#define CMNSYS_TOOLS_IO_TEMPORARY_NAME_H_

#include <string>

namespace CmnSys::Tool {

// A name in the folder that nobody else is likely to choose.
std::string NewTemporaryName(const std::string& folder);

// From now on a signal that ends the process removes this file first. Call it before the file gets
// the name.
void RemoveWhenEnded(const std::string& path);

// The file has another name now, or is gone.
void KeepWhenEnded();

}  // namespace CmnSys::Tool

#endif  // CMNSYS_TOOLS_IO_TEMPORARY_NAME_H_
