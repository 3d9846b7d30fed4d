#include "schema/message_type.h"

#include "CmnSys/Util/Schema.h"
#include "io/failure.h"
#include "text/name_search.h"

namespace CmnSys::Tool {
namespace {

std::string Lines(const std::vector<std::string>& names) {
  std::string text;
  for (const std::string& name : names) text += "\n  " + name;
  return text;
}

}  // namespace

std::string ResolveName(const std::vector<std::string>& names, const std::string& query,
                        const std::string& kind) {
  const std::vector<std::string> matching = Util::MatchingNames(names, query);
  if (matching.size() == 1) return matching.front();
  if (!matching.empty()) {
    throw Failure("\"" + query +
                  "\" may be any of these; give more of the name:" + Lines(matching));
  }
  const std::vector<std::string> nearest = Util::NearestNames(names, query);
  const std::string message = "there is no " + kind + " \"" + query + "\"";
  throw Failure(nearest.empty() ? message + "; \"cmnsys list\" prints all of them"
                                : message + "; the nearest are:" + Lines(nearest));
}

std::unique_ptr<google::protobuf::Message> NewMessage(const std::string& type) {
  // A type of a sibling library counts when its name is given in full.
  if (auto message = Util::NewMessage(type)) return message;
  return Util::NewMessage(
      ResolveName(Util::MessageNames(Util::SchemaFiles()), type, "message type"));
}

}  // namespace CmnSys::Tool
