#include "message_type.h"

#include <google/protobuf/descriptor.h>

#include "CmnSys/Util/NameSearch.h"
#include "CmnSys/Util/Schema.h"
#include "failure.h"

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
  const std::string name =
      ResolveName(Util::MessageNames(Util::SchemaFiles()), type, "message type");
  const google::protobuf::Descriptor* descriptor =
      google::protobuf::DescriptorPool::generated_pool()->FindMessageTypeByName(name);
  return std::unique_ptr<google::protobuf::Message>(
      google::protobuf::MessageFactory::generated_factory()->GetPrototype(descriptor)->New());
}

}  // namespace CmnSys::Tool
