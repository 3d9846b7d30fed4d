// A gRPC service put together at run time.
//
// gRPC's API for registered methods is meant for the code that its own generator writes. Registered
// methods cost less than generic ones; this file is the only one that uses that API.

#ifndef CMNSYS_RPC_SRC_RAW_SERVICE_H_
#define CMNSYS_RPC_SRC_RAW_SERVICE_H_

#include <grpcpp/impl/rpc_service_method.h>
#include <grpcpp/impl/service_type.h>
#include <grpcpp/server_context.h>
#include <grpcpp/support/async_stream.h>
#include <grpcpp/support/byte_buffer.h>

#include <deque>
#include <string>

#include "common/completion.h"

namespace CmnSys::Rpc {

using RawStream = grpc::ServerAsyncReaderWriter<grpc::ByteBuffer, grpc::ByteBuffer>;

// All methods are registered as streams in both directions, whatever they are: on the wire there is
// no difference, and gRPC then tells of a call when it begins and not when its request is complete.
class RawService final : public grpc::Service {
 public:
  // Adds a method by its path "/service/method" and returns its index. Before the server starts.
  int Add(const std::string& path) {
    paths_.push_back(path);  // gRPC keeps the pointer.
    AddMethod(new grpc::internal::RpcServiceMethod(
        paths_.back().c_str(), grpc::internal::RpcMethod::BIDI_STREAMING, nullptr));
    const int index = static_cast<int>(paths_.size()) - 1;
    MarkMethodRaw(index);
    return index;
  }

  // Waits for the next call of a method; the tag completes when it has begun.
  void RequestCall(int index, grpc::ServerContext* context, RawStream* stream,
                   grpc::ServerCompletionQueue* queue, Tag* tag) {
    RequestAsyncBidiStreaming(index, context, stream, queue, queue, tag->Post());
  }

 private:
  std::deque<std::string> paths_;
};

}  // namespace CmnSys::Rpc

#endif  // CMNSYS_RPC_SRC_RAW_SERVICE_H_
