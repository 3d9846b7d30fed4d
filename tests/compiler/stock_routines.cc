#include "stock_routines.h"

#include <google/protobuf/descriptor.h>
#include <google/protobuf/descriptor.pb.h>
#include <google/protobuf/descriptor_database.h>

RoutineCall stock_routine_calls[8] = {};
int stock_routine_call_count = 0;

namespace {

void Record(const char* file) {
  google::protobuf::FileDescriptorProto importer;
  // The database, unlike the pool, does not remember that it was asked too early.
  const bool registered =
      google::protobuf::DescriptorPool::internal_generated_database()->FindFileByName(
          "ProtoBuf/Sample/Order.proto", &importer);
  stock_routine_calls[stock_routine_call_count++] = {file, registered};
}

}  // namespace

namespace Stock {

void protobuf_AddDesc_ProtoBuf_2fStock_2fFirst_2eproto() { Record("First"); }
void protobuf_AddDesc_ProtoBuf_2fStock_2fSecond_2eproto() { Record("Second"); }

}  // namespace Stock
