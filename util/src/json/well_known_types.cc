#include "json/well_known_types.h"

#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>
#include <google/protobuf/util/json_util.h>
#include <google/protobuf/util/message_differencer.h>
#include <google/protobuf/util/type_resolver.h>
#include <google/protobuf/util/type_resolver_util.h>

#include "json/json_lexer.h"

namespace CmnSys::Util {

using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::io::CodedOutputStream;
using google::protobuf::io::StringOutputStream;
using google::protobuf::util::TypeResolver;

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
  // Of the bytes in a fixed order, which is that of the JSON.
  std::string bytes;
  {
    StringOutputStream output(&bytes);
    CodedOutputStream coded(&output);
    coded.SetSerializationDeterministic(true);
    message.SerializePartialToCodedStream(&coded);
  }
  const char* const prefix = "type.googleapis.com";
  const std::unique_ptr<TypeResolver> types(
      google::protobuf::util::NewTypeResolverForDescriptorPool(
          prefix, message.GetDescriptor()->file()->pool()));
  const auto status = google::protobuf::util::BinaryToJsonString(
      types.get(), prefix + ("/" + message.GetTypeName()), bytes, json);
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
