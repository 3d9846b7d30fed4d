// gRPC server reflection: describes the services to tools.
// https://github.com/grpc/grpc/blob/master/doc/server-reflection.md

#ifndef CMNSYS_RPC_SRC_REFLECTION_H_
#define CMNSYS_RPC_SRC_REFLECTION_H_

#include <array>
#include <atomic>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "server/server_core.h"
#include "server/time_limits.h"

namespace CmnSys::Rpc {

namespace ReflectionProto {
class Request;
class Response;
}  // namespace ReflectionProto

class ReflectionCall;

// Answers from the descriptors that are compiled into the process. Thread-safe.
class Reflection {
 public:
  // Both versions have the same messages.
  static constexpr std::array kServices = {"grpc.reflection.v1.ServerReflection",
                                           "grpc.reflection.v1alpha.ServerReflection"};
  static constexpr const char* kMethod = "ServerReflectionInfo";

  // Takes the names of all services of the server.
  explicit Reflection(std::vector<std::string> services) : services_(std::move(services)) {}

  ReflectionProto::Response Answer(const ReflectionProto::Request& request) const;

  // Waits for the next call of the method with this index; it then arranges for the one after it.
  static void Listen(const std::shared_ptr<ServerCore>& core,
                     const std::shared_ptr<Reflection>& reflection, RawService* raw_service,
                     int index, grpc::ServerCompletionQueue* queue);

  // Ends the calls whose client neither asks nor takes its answer in time.
  void EndSlow(const ServerOptions& options);

 private:
  friend class ReflectionCall;

  const std::vector<std::string> services_;
  TimeLimit<ReflectionCall> questions_;  // Waited for.
  TimeLimit<ReflectionCall> answers_;    // Being sent.
  std::atomic<int> calls_{0};
};

}  // namespace CmnSys::Rpc

#endif  // CMNSYS_RPC_SRC_REFLECTION_H_
