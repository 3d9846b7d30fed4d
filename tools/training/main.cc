// Uses the libraries as programs of the system do, so that a compiler that watches learns which
// branches are taken: random messages of every type, and many of those that travel all day.

#include <google/protobuf/arena.h>
#include <google/protobuf/message.h>

#include <cstddef>
#include <cstdint>
#include <iostream>
#include <memory>
#include <string>

#include "CmnSys/Util/Check.h"
#include "CmnSys/Util/Json.h"
#include "CmnSys/Util/RandomMessage.h"
#include "CmnSys/Util/Schema.h"

namespace {

using CmnSys::Util::RandomMessageOptions;
using google::protobuf::Arena;
using google::protobuf::Message;

constexpr int kOfEveryType = 16;

struct Weight {
  const char* type;
  int messages;
  std::size_t max_bytes;
};

constexpr Weight kOften[] = {
    {"Pb.CmnSys.Events.Event", 20000, 400},
    {"Pb.CmnSys.Events.EventList", 200, 40000},
    {"Pb.CmnSys.Notifications.Notification", 10000, 800},
    {"Pb.CmnSys.QueriesResult.QueryResultSystemEvents", 400, 40000},
    {"Pb.CmnSys.QueriesResult.QueryResult", 2000, 40000},
};

// Builds, writes, reads, copies and drops one message in the ways there are. Returns whether what
// was read is what was written.
bool Train(const Message& prototype, std::uint64_t seed, const RandomMessageOptions& options,
           Message* reused, Arena* arena) {
  const std::unique_ptr<Message> built(prototype.New());
  CmnSys::Util::FillRandom(seed, options, built.get());
  const std::string wire = built->SerializeAsString();

  if (!reused->ParseFromString(wire)) return false;
  Message* const in_arena = prototype.New(arena);
  if (!in_arena->ParseFromString(wire)) return false;
  const std::unique_ptr<Message> parsed(prototype.New());
  if (!parsed->ParseFromString(wire)) return false;
  parsed->CopyFrom(*in_arena);
  if (parsed->SerializeAsString() != wire) return false;

  CmnSys::Util::Check(*reused);
  return true;
}

// JSON is read and written less often than bytes.
bool TrainJson(const Message& prototype, std::uint64_t seed, const RandomMessageOptions& options) {
  const std::unique_ptr<Message> built(prototype.New());
  CmnSys::Util::FillRandom(seed, options, built.get());
  CmnSys::Util::JsonWriteOptions writing;
  writing.indent = 0;
  std::string json;
  const std::unique_ptr<Message> parsed(prototype.New());
  return !CmnSys::Util::WriteJson(*built, writing, &json) &&
         !CmnSys::Util::ReadJson(json, {}, parsed.get()) &&
         parsed->SerializeAsString() == built->SerializeAsString();
}

bool TrainType(const std::string& type, int messages, std::size_t max_bytes) {
  const std::unique_ptr<Message> prototype = CmnSys::Util::NewMessage(type);
  const std::unique_ptr<Message> reused(prototype->New());
  RandomMessageOptions options;
  options.max_bytes = max_bytes;
  options.max_repeated = max_bytes > 1000 ? 20 : 3;
  Arena arena;
  for (int i = 0; i < messages; ++i) {
    // Mostly as senders fill messages: nearly all fields, and payloads that go with their type.
    options.percent_set = i % 4 == 0 ? 50 : 90;
    options.follow_pairing = i % 4 != 0;
    const auto seed = static_cast<std::uint64_t>(i);
    if (!Train(*prototype, seed, options, reused.get(), &arena)) return false;
    if (i % 4 == 1 && !TrainJson(*prototype, seed, options)) return false;
    if (i % 64 == 63) arena.Reset();
  }
  return true;
}

}  // namespace

int main() {
  for (const std::string& type : CmnSys::Util::MessageNames(CmnSys::Util::SchemaFiles())) {
    if (!TrainType(type, kOfEveryType, 4000)) {
      std::cerr << "a random message of " << type << " does not read back as it was written\n";
      return 1;
    }
  }
  for (const Weight& weight : kOften) {
    if (!TrainType(weight.type, weight.messages, weight.max_bytes)) {
      std::cerr << "a random message of " << weight.type << " does not read back as written\n";
      return 1;
    }
  }
  return 0;
}
