// Every service class of the schema. Generated service classes have no registry, so this table
// stands in for one.

#ifndef CMNSYS_TESTS_SCHEMA_ALL_SERVICES_H_
#define CMNSYS_TESTS_SCHEMA_ALL_SERVICES_H_

#include <google/protobuf/descriptor.h>
#include <google/protobuf/service.h>

#include <memory>
#include <vector>

namespace CmnSys::Test {

struct ServiceClass {
  const google::protobuf::ServiceDescriptor* descriptor;
  // A server that overrides no method.
  std::unique_ptr<google::protobuf::Service> (*new_server)();
  std::unique_ptr<google::protobuf::Service> (*new_stub)(google::protobuf::RpcChannel* channel);
};

std::vector<ServiceClass> AllServices();

}  // namespace CmnSys::Test

#endif  // CMNSYS_TESTS_SCHEMA_ALL_SERVICES_H_
