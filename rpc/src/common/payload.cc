#include "common/payload.h"

#include <grpc/slice.h>
#include <grpcpp/support/proto_buffer_reader.h>
#include <grpcpp/support/slice.h>

#include <climits>

namespace CmnSys::Rpc {

using google::protobuf::Message;

namespace {

Status LacksRequiredFields(const Message& message, const char* what) {
  return {StatusCode::kInvalidArgument,
          std::string(what) + " " + message.GetTypeName() +
              " lacks required fields: " + message.InitializationErrorString()};
}

}  // namespace

Status SerializeMessage(const Message& message, const char* what, std::size_t limit,
                        grpc::ByteBuffer* bytes) {
  if (!message.IsInitialized()) return LacksRequiredFields(message, what);
  const std::size_t size = message.ByteSizeLong();
  if (size > limit || size > INT_MAX) {
    return {StatusCode::kResourceExhausted, std::string(what) + " " + message.GetTypeName() +
                                                " is too long: " + std::to_string(size) +
                                                " bytes, the limit is " + std::to_string(limit)};
  }
  grpc_slice memory = grpc_slice_malloc(size);
  message.SerializeWithCachedSizesToArray(GRPC_SLICE_START_PTR(memory));
  const grpc::Slice slice(memory, grpc::Slice::STEAL_REF);
  *bytes = grpc::ByteBuffer(&slice, 1);
  return {};
}

Status ParseMessage(grpc::ByteBuffer* bytes, const char* what, Message* message) {
  const std::size_t size = bytes->Length();
  bool parsed = false;
  {
    grpc::ProtoBufferReader reader(bytes);
    parsed = message->ParsePartialFromZeroCopyStream(&reader) && reader.status().ok();
  }
  bytes->Clear();
  Status status;
  if (!parsed) {
    status = {StatusCode::kInvalidArgument, std::string(what) + " is no " + message->GetTypeName() +
                                                ": its " + std::to_string(size) +
                                                " bytes do not parse"};
  } else if (!message->IsInitialized()) {
    status = LacksRequiredFields(*message, what);
  }
  if (!status.Ok()) message->Clear();
  return status;
}

std::string CutText(const std::string& text, std::size_t limit) {
  static constexpr std::size_t kDots = 3;
  if (text.size() <= limit) return text;
  std::size_t end = limit > kDots ? limit - kDots : 0;
  // Bytes 10xxxxxx continue a character.
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80U) --end;
  return text.substr(0, end) + "...";
}

grpc::Status ToGrpc(const Status& status, std::size_t max_text_bytes) {
  return {static_cast<grpc::StatusCode>(status.code), CutText(status.text, max_text_bytes)};
}

Status FromGrpc(const grpc::Status& status) {
  return {static_cast<StatusCode>(status.error_code()), status.error_message()};
}

}  // namespace CmnSys::Rpc
