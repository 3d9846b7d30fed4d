#ifndef CMNSYS_UTIL_SRC_JSON_WELL_KNOWN_TYPES_H_
#define CMNSYS_UTIL_SRC_JSON_WELL_KNOWN_TYPES_H_

#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>

#include <memory>
#include <optional>
#include <string>

namespace CmnSys::Util {

// How a message stands in JSON.
enum class JsonForm {
  kMembers,  // As an object with its fields for members.
  kValue,    // As the value of its only field: google.protobuf.Int32Value and the like.
  kOwn,      // In a form of its own: google.protobuf.Timestamp, Struct and the like.
  kAny,      // As the message that it holds, with the member "@type": google.protobuf.Any.
};

JsonForm JsonFormOf(const google::protobuf::Descriptor& type);

// Whether null is a value of the field and does not leave it unset.
bool TakesNull(const google::protobuf::FieldDescriptor& field);

// The JSON of a message that stands in a form of its own, and back; both by the runtime's own
// converter. Return what is wrong, or nothing.
std::optional<std::string> WriteOwnForm(const google::protobuf::Message& message,
                                        std::string* json);
std::optional<std::string> ReadOwnForm(const std::string& json, google::protobuf::Message* message);

// A new message of the type that the URL of an Any names ("type.googleapis.com/Pb.CmnSys.Gid"), or
// nullptr when the Any's descriptor pool does not have it. `factory` is that of the Any.
std::unique_ptr<google::protobuf::Message> NewMessageOfUrl(
    const std::string& url, const google::protobuf::DescriptorPool& pool,
    google::protobuf::MessageFactory* factory);

// What to say when NewMessageOfUrl does not know the type.
std::string UnknownUrl(const std::string& url);

}  // namespace CmnSys::Util

#endif  // CMNSYS_UTIL_SRC_JSON_WELL_KNOWN_TYPES_H_
