// A gRPC service put together at run time.
//
// gRPC's API for registered methods is meant for the code that its own generator writes. Registered
// methods cost less than generic ones and appear in server reflection; this file is the only one
// that uses that API.

#ifndef CMNSYS_RPC_SRC_RAW_SERVICE_H_
#define CMNSYS_RPC_SRC_RAW_SERVICE_H_

#include <grpcpp/impl/rpc_service_method.h>
#include <grpcpp/impl/service_type.h>
#include <grpcpp/server_context.h>
#include <grpcpp/support/async_stream.h>
#include <grpcpp/support/async_unary_call.h>
#include <grpcpp/support/byte_buffer.h>

#include <deque>
#include <string>

#include "common/completion.h"

namespace CmnSys::Rpc {

class RawService final : public grpc::Service {
 public:
  // Add a method by its path "/service/method" and return its index. Before the server starts.
  int AddUnary(const std::string& path) { return Add(path, grpc::internal::RpcMethod::NORMAL_RPC); }
  int AddServerStreaming(const std::string& path) {
    return Add(path, grpc::internal::RpcMethod::SERVER_STREAMING);
  }

  // Wait for the next call of a method; the tag completes when it has arrived with its request.
  void RequestCall(int index, grpc::ServerContext* context, grpc::ByteBuffer* request,
                   grpc::ServerAsyncResponseWriter<grpc::ByteBuffer>* writer,
                   grpc::ServerCompletionQueue* queue, Tag* tag) {
    RequestAsyncUnary(index, context, request, writer, queue, queue, tag->Post());
  }
  void RequestCall(int index, grpc::ServerContext* context, grpc::ByteBuffer* request,
                   grpc::ServerAsyncWriter<grpc::ByteBuffer>* writer,
                   grpc::ServerCompletionQueue* queue, Tag* tag) {
    RequestAsyncServerStreaming(index, context, request, writer, queue, queue, tag->Post());
  }

 private:
  int Add(const std::string& path, grpc::internal::RpcMethod::RpcType type) {
    paths_.push_back(path);  // gRPC keeps the pointer.
    AddMethod(new grpc::internal::RpcServiceMethod(paths_.back().c_str(), type, nullptr));
    const int index = static_cast<int>(paths_.size()) - 1;
    MarkMethodRaw(index);
    return index;
  }

  std::deque<std::string> paths_;
};

}  // namespace CmnSys::Rpc

#endif  // CMNSYS_RPC_SRC_RAW_SERVICE_H_
