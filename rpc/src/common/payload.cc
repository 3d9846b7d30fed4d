#include "common/payload.h"

#include <grpc/slice.h>
#include <grpcpp/support/proto_buffer_reader.h>
#include <grpcpp/support/slice.h>

#include <array>
#include <climits>
#include <exception>

namespace CmnSys::Rpc {

using google::protobuf::MessageLite;

namespace {

Status LacksRequiredFields(const MessageLite& message, const char* what) {
  return {StatusCode::kInvalidArgument,
          std::string(what) + " " + message.GetTypeName() +
              " lacks required fields: " + message.InitializationErrorString()};
}

}  // namespace

const char* StatusCodeName(StatusCode code) {
  static constexpr std::array kNames = {
      "OK",
      "CANCELLED",
      "UNKNOWN",
      "INVALID_ARGUMENT",
      "DEADLINE_EXCEEDED",
      "NOT_FOUND",
      "ALREADY_EXISTS",
      "PERMISSION_DENIED",
      "RESOURCE_EXHAUSTED",
      "FAILED_PRECONDITION",
      "ABORTED",
      "OUT_OF_RANGE",
      "UNIMPLEMENTED",
      "INTERNAL",
      "UNAVAILABLE",
      "DATA_LOSS",
      "UNAUTHENTICATED",
  };
  const auto index = static_cast<std::size_t>(code);
  return index < kNames.size() ? kNames.at(index) : "UNKNOWN";
}

Status SerializeMessage(const MessageLite& message, const char* what, std::size_t limit,
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

Status ParseMessage(grpc::ByteBuffer* bytes, const char* what, MessageLite* message) {
  const std::size_t size = bytes->Length();
  bool parsed = false;
  {
    // The parser is told where the bytes end: then a length that points beyond that makes it
    // allocate nothing.
    grpc::ProtoBufferReader reader(bytes);
    parsed = size <= INT_MAX && reader.status().ok() &&
             message->ParsePartialFromBoundedZeroCopyStream(&reader, static_cast<int>(size));
  }
  bytes->Clear();
  Status status;
  if (!parsed) {
    status = DoesNotParse(what, message->GetTypeName(), size);
  } else if (!message->IsInitialized()) {
    status = LacksRequiredFields(*message, what);
  }
  if (!status.Ok()) message->Clear();
  return status;
}

Status DoesNotParse(const char* what, const std::string& type, std::size_t size) {
  return {StatusCode::kInvalidArgument, std::string(what) + " is no " + type + ": its " +
                                            std::to_string(size) + " bytes do not parse"};
}

std::string CutText(const std::string& text, std::size_t limit) {
  if (text.size() <= limit) return text;
  const std::string dots = limit < 3 ? "" : "...";
  std::size_t end = limit - dots.size();
  // Bytes 10xxxxxx continue a character.
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80U) --end;
  return text.substr(0, end) + dots;
}

Status CaughtException(const std::string& what) {
  std::string text = "an exception of no standard type";
  try {
    throw;
  } catch (const std::exception& error) {
    text = error.what();
  } catch (...) {
    // Said above.
  }
  return {StatusCode::kInternal, what + " failed unexpectedly: " + text};
}

grpc::Status ToGrpc(const Status& status, std::size_t max_text_bytes) {
  return {static_cast<grpc::StatusCode>(status.code), CutText(status.text, max_text_bytes)};
}

Status FromGrpc(const grpc::Status& status) {
  return {static_cast<StatusCode>(status.error_code()), status.error_message()};
}

}  // namespace CmnSys::Rpc
