#include "findings.h"

namespace CmnSys::SchemaGuard {

std::string Findings::Text() const {
  std::string text;
  for (const Finding& finding : all_) text += finding.place + ": " + finding.problem + "\n";
  return text;
}

std::string Findings::Place(const google::protobuf::FileDescriptor& file, std::int64_t line,
                            std::string_view name) {
  std::string place = file.name();
  if (line > 0) place += ":" + std::to_string(line);
  return place.append(": ").append(name);
}

}  // namespace CmnSys::SchemaGuard
