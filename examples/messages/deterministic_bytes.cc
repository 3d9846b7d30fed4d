// The same bytes for equal messages, and when not to rely on them.

#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>
#include <google/protobuf/util/message_differencer.h>

#include <iostream>
#include <string>

#include "ProtoBuf/CmnSys/CmnSys.Gid.pb.h"

namespace {

std::string DeterministicBytes(const google::protobuf::Message& message) {
  std::string bytes;
  {
    google::protobuf::io::StringOutputStream stream(&bytes);
    google::protobuf::io::CodedOutputStream out(&stream);
    out.SetSerializationDeterministic(true);
    message.SerializeToCodedStream(&out);
  }  // The streams write their last bytes when they end.
  return bytes;
}

}  // namespace

int main() {
  Pb::CmnSys::Gid one;
  one.set_type(Pb::CmnSys::GID_TYPE_DEVICE);
  one.set_id("camera-12");
  Pb::CmnSys::Gid other;
  other.set_id("camera-12");
  other.set_type(Pb::CmnSys::GID_TYPE_DEVICE);

  const bool same_bytes = DeterministicBytes(one) == DeterministicBytes(other);
  const bool equal = google::protobuf::util::MessageDifferencer::Equals(one, other);
  std::cout << (same_bytes && equal ? "equal" : "different") << '\n';
  return same_bytes && equal ? 0 : 1;
}
