// The guard of the schema, on a changed schema.
//
// It never fails over a schema that protobuf takes. What it lets pass can still talk with what is
// in the field: a message of the old schema reads and prints the same by the new one.

#include <google/protobuf/dynamic_message.h>

#include <stdexcept>

#include "CmnSys/Util/RandomMessage.h"
#include "additions.h"
#include "comment_rules.h"
#include "contract.h"
#include "free_numbers.h"
#include "messages.h"
#include "schemas.h"

namespace CmnSys::Fuzz {

using google::protobuf::Descriptor;
using google::protobuf::FileDescriptorSet;
using google::protobuf::Message;
using SchemaGuard::Findings;
using SchemaGuard::SchemaSet;

namespace {

const SchemaSet& Baseline() {
  static const auto* const baseline = new SchemaSet(SmallSchema());
  return *baseline;
}

// Messages of the old schema, by name, with their bytes and their text.
struct Sample {
  std::string type;
  std::string bytes;
  std::string text;
};
const std::vector<Sample>& Samples() {
  static const auto* const samples = [] {
    auto* result = new std::vector<Sample>;
    google::protobuf::DynamicMessageFactory factory;
    Util::RandomMessageOptions options;
    options.percent_set = 100;
    for (const char* type : {"Orchard.Field", "Orchard.Field.Row", "Orchard.Harvest.Crate"}) {
      const std::unique_ptr<Message> message(
          factory.GetPrototype(Baseline().pool().FindMessageTypeByName(type))->New());
      Util::FillRandom(1, options, message.get());
      result->push_back({type, Bytes(*message), message->DebugString()});
    }
    return result;
  }();
  return *samples;
}

void Run(std::string_view input) {
  const TypedInput split = SplitInput(input);
  if (split.prototype == nullptr || split.prototype->GetTypeName() != SmallSchema().GetTypeName()) {
    return;
  }
  FileDescriptorSet set;
  if (!kWireForm.read(split.content, &set) || !set.IsInitialized()) return;
  std::unique_ptr<const SchemaSet> current;
  try {
    current = std::make_unique<SchemaSet>(set);
  } catch (const std::runtime_error&) {
    return;
  }
  Findings findings;
  FindCommentFaults(*current, &findings);
  FindUsedFreeNumbers(*current, &findings);
  for (const auto& finding : findings.all()) {
    Expect(!finding.place.empty() && !finding.problem.empty(), "a finding says where and what");
  }
  Findings breaches;
  FindBreaches(Baseline(), *current, &breaches);
  FindForbiddenAdditions(Baseline(), *current, &breaches);
  if (!breaches.all().empty()) return;
  google::protobuf::DynamicMessageFactory factory;
  for (const Sample& sample : Samples()) {
    const Descriptor* type = current->pool().FindMessageTypeByName(sample.type);
    Expect(type != nullptr, sample.type + " is there");
    const std::unique_ptr<Message> message(factory.GetPrototype(type)->New());
    Expect(message->ParseFromString(sample.bytes), sample.type + " can be read");
    Expect(message->DebugString() == sample.text, sample.type + " says the same");
  }
}

const Registration kRegistration({"guard", Run, SchemaSeeds, MutateWire});

}  // namespace
}  // namespace CmnSys::Fuzz
