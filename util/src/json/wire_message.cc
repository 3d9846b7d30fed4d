#include "json/wire_message.h"

#include <google/protobuf/io/coded_stream.h>

#include <cstdint>
#include <limits>

namespace CmnSys::Util {

using google::protobuf::Message;
using google::protobuf::io::CodedInputStream;

bool AppendToWire(const Message& message, WireBytes* wire) {
  const std::size_t size = message.ByteSizeLong();
  if (size > View::kMaxLength) return false;
  // With a byte to spare, so that an empty message has a place, too.
  auto* const place = reinterpret_cast<std::uint8_t*>(wire->Room(size + 1));
  wire->End(message.SerializeWithCachedSizesToArray(place));
  return true;
}

bool MergeFromWire(std::string_view bytes, Message* message) {
  CodedInputStream stream(reinterpret_cast<const std::uint8_t*>(bytes.data()),
                          static_cast<int>(bytes.size()));
  stream.SetRecursionLimit(std::numeric_limits<int>::max());
  return message->MergePartialFromCodedStream(&stream) && stream.ConsumedEntireMessage();
}

}  // namespace CmnSys::Util
