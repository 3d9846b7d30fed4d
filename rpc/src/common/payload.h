// Between messages and the buffers that gRPC sends and receives, and between its status and ours.

#ifndef CMNSYS_RPC_SRC_PAYLOAD_H_
#define CMNSYS_RPC_SRC_PAYLOAD_H_

#include <google/protobuf/message_lite.h>
#include <grpcpp/support/byte_buffer.h>
#include <grpcpp/support/status.h>

#include <cstddef>
#include <string>

#include "CmnSys/Rpc/Status.h"

namespace CmnSys::Rpc {

// A header by which a server tells that a subscription is accepted. Without it a client could not
// tell an accepted one, which has no message yet, from a refused one.
inline constexpr const char* kSubscribedHeader = "cmnsys-subscribed";

// Serializes a message. `what` names it in texts: "request", "response".
// Fails with kResourceExhausted when it is longer than `limit`, with kInvalidArgument when it lacks
// required fields.
Status SerializeMessage(const google::protobuf::MessageLite& message, const char* what,
                        std::size_t limit, grpc::ByteBuffer* bytes);

// Parses a message and frees the bytes. Fails with kInvalidArgument and leaves the message empty.
Status ParseMessage(grpc::ByteBuffer* bytes, const char* what,
                    google::protobuf::MessageLite* message);

// The failure of bytes that are no message of the type.
Status DoesNotParse(const char* what, const std::string& type, std::size_t size);

// Cuts a text to at most `limit` bytes after a whole UTF-8 character, "..." included where that has
// room.
std::string CutText(const std::string& text, std::size_t limit);

// Inside a catch block: kInternal, with a text that says what failed and what was thrown.
Status CaughtException(const std::string& what);

grpc::Status ToGrpc(const Status& status, std::size_t max_text_bytes);
Status FromGrpc(const grpc::Status& status);

}  // namespace CmnSys::Rpc

#endif  // CMNSYS_RPC_SRC_PAYLOAD_H_
