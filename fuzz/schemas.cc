#include "schemas.h"

#include <google/protobuf/compiler/parser.h>
#include <google/protobuf/io/tokenizer.h>
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>

#include "messages.h"

namespace CmnSys::Fuzz {

using google::protobuf::FileDescriptorSet;

namespace {

constexpr const char* kFiles[] = {
    R"(// Where fruit grows.

syntax = "proto2";
package Orchard;

// A place with trees.
message Field {
  // What stands in it.
  enum Tree {
    // Any tree.
    TREE_ANY = 0;
    // Bears apples.
    TREE_APPLE = 1;
  }
  // One row of trees.
  message Row {
    // How many trees stand in it.
    optional int32 trees = 1 [default = 5];
  }
  // The rows from north to south.
  repeated Row rows = 1;
  // The trees of all rows.
  optional Tree tree = 2 [default = TREE_APPLE];
  extensions 100 to 199;
}
)",
    R"(// What is picked.

syntax = "proto2";
package Orchard.Harvest;

import "ProtoBuf/CmnSys/CmnSys.Field.proto";
option optimize_for = SPEED;

// Fruit of one day.
message Crate {
  // The field that it comes from.
  optional Field field = 1;
  // Weights in grams, in the order of picking.
  repeated fixed32 weights = 2 [packed = true];
  // Who picked; Latin letters only.
  optional string picker = 4 [deprecated = true];
  // Picked by a machine, with its log.
  optional group Machine = 5 {
    // As the machine wrote it.
    optional bytes log = 1;
  }
}
// Where a field stands in the harvest.
extend Orchard.Field {
  // The crates of this field.
  repeated Crate crates = 100;
}
// Counts fruit.
service Counting {
  // Adds a crate to its field.
  rpc Add(Crate) returns (Field);
}
)"};
constexpr const char* kNames[] = {"ProtoBuf/CmnSys/CmnSys.Field.proto",
                                  "ProtoBuf/CmnSys/CmnSys.Harvest.proto"};

}  // namespace

const FileDescriptorSet& SmallSchema() {
  static const auto* const schema = [] {
    auto* set = new FileDescriptorSet;
    for (int i = 0; i < 2; ++i) {
      const std::string text = kFiles[i];
      google::protobuf::io::ArrayInputStream input(text.data(), static_cast<int>(text.size()));
      google::protobuf::io::Tokenizer tokenizer(&input, nullptr);
      google::protobuf::FileDescriptorProto* file = set->add_file();
      Expect(google::protobuf::compiler::Parser().Parse(&tokenizer, file), text);
      file->set_name(kNames[i]);
    }
    return set;
  }();
  return *schema;
}

std::vector<std::string> SchemaSeeds() {
  return {JoinInput(SmallSchema(), SmallSchema().SerializeAsString())};
}

}  // namespace CmnSys::Fuzz
