#include "json/well_known_types.h"

#include <google/protobuf/util/json_util.h>
#include <google/protobuf/util/message_differencer.h>

#include "json/json_lexer.h"

namespace CmnSys::Util {

using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;

JsonForm JsonFormOf(const Descriptor& type) {
  switch (type.well_known_type()) {
    case Descriptor::WELLKNOWNTYPE_UNSPECIFIED:
      return JsonForm::kMembers;
    case Descriptor::WELLKNOWNTYPE_ANY:
      return JsonForm::kAny;
    case Descriptor::WELLKNOWNTYPE_DURATION:
    case Descriptor::WELLKNOWNTYPE_FIELDMASK:
    case Descriptor::WELLKNOWNTYPE_LISTVALUE:
    case Descriptor::WELLKNOWNTYPE_STRUCT:
    case Descriptor::WELLKNOWNTYPE_TIMESTAMP:
    case Descriptor::WELLKNOWNTYPE_VALUE:
      return JsonForm::kOwn;
    default:
      return JsonForm::kValue;
  }
}

bool TakesNull(const FieldDescriptor& field) {
  if (field.message_type() != nullptr) {
    return field.message_type()->well_known_type() == Descriptor::WELLKNOWNTYPE_VALUE;
  }
  return field.enum_type() != nullptr &&
         field.enum_type()->full_name() == "google.protobuf.NullValue";
}

std::optional<std::string> WriteOwnForm(const Message& message, std::string* json) {
  const auto status = google::protobuf::util::MessageToJsonString(message, json);
  if (!status.ok()) return status.message().ToString();
  // The converter also writes what reads back as something else: a field mask whose names are not
  // those of fields, a Value that is not finite.
  const std::unique_ptr<Message> again(message.New());
  if (ReadOwnForm(*json, again.get()) ||
      !google::protobuf::util::MessageDifferencer::Equals(message, *again)) {
    return "JSON cannot hold this " + message.GetTypeName() + ", which would read back from " +
           Quoted(*json) + " as another one";
  }
  return std::nullopt;
}

std::optional<std::string> ReadOwnForm(const std::string& json, Message* message) {
  const auto status = google::protobuf::util::JsonStringToMessage(json, message);
  if (!status.ok()) return Quoted(json) + " is no " + message->GetTypeName();
  return std::nullopt;
}

std::unique_ptr<Message> NewMessageOfUrl(const std::string& url,
                                         const google::protobuf::DescriptorPool& pool,
                                         google::protobuf::MessageFactory* factory) {
  const std::size_t slash = url.rfind('/');
  if (slash == std::string::npos) return nullptr;
  const Descriptor* const type = pool.FindMessageTypeByName(url.substr(slash + 1));
  if (type == nullptr) return nullptr;
  return std::unique_ptr<Message>(factory->GetPrototype(type)->New());
}

std::string UnknownUrl(const std::string& url) {
  return Quoted(url) + " names no message type that this program knows";
}

}  // namespace CmnSys::Util
