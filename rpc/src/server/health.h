// The standard health service of gRPC:
// https://github.com/grpc/grpc/blob/master/doc/health-checking.md

#ifndef CMNSYS_RPC_SRC_HEALTH_H_
#define CMNSYS_RPC_SRC_HEALTH_H_

#include <map>
#include <mutex>
#include <string>

#include "CmnSys/Rpc/Publisher.h"
#include "server/server_core.h"

namespace CmnSys::Rpc {

// Its messages have one field each, and the same bytes as two well-known wrapper types:
// HealthCheckRequest as StringValue (the service's name), HealthCheckResponse as Int32Value (the
// serving status). So no copy of its schema is registered in the process, where there may be one.
class Health {
 public:
  static constexpr const char* kService = "grpc.health.v1.Health";

  // The method Check.
  UnaryMethod Check();
  // The method Watch.
  PublisherOptions Watch();
  // What Watch() became.
  void SetPublisher(Publisher* publisher) { publisher_ = publisher; }

  // Adds a service, serving. Before the server starts.
  void Add(const std::string& service) { serving_[service] = true; }
  bool Has(const std::string& service) const { return serving_.count(service) != 0; }
  void Set(const std::string& service, bool serving);
  void SetAll(bool serving);

 private:
  // The number of the serving status; unknown services have one, too.
  int StatusOf(const std::string& service) const;
  void Tell(const std::string& service);

  mutable std::mutex mutex_;
  std::map<std::string, bool> serving_{{"", true}};
  Publisher* publisher_ = nullptr;
};

}  // namespace CmnSys::Rpc

#endif  // CMNSYS_RPC_SRC_HEALTH_H_
