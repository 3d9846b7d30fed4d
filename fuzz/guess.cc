// Bytes whose type is not known.
//
// Every type that is named can hold all records, the list is sorted, the type that made the bytes
// is not left out without reason, and the beginning of the bytes is as well-formed as they are.
// Time and memory grow as the bytes do.

#include "analysis/guess.h"

#include <algorithm>

#include "CmnSys/Util/Parse.h"
#include "analysis/sample.h"
#include "growth.h"
#include "messages.h"

namespace CmnSys::Fuzz {
namespace {

// An empty packed field leaves none.
bool HasFields(const google::protobuf::Message& message) {
  std::vector<const google::protobuf::FieldDescriptor*> fields;
  message.GetReflection()->ListFields(message, &fields);
  return !fields.empty();
}

void Run(std::string_view input) {
  const TypedInput split = SplitInput(input);
  if (split.prototype == nullptr || split.content.empty()) return;
  for (const std::size_t limit : {7, 100, 3000}) {
    const std::string beginning = Tool::BeginningOfMessage(split.content, limit, true);
    Expect(Tool::IsWellFormed(beginning) || !Tool::IsWellFormed(split.content),
           "the beginning is well-formed");
  }
  const auto candidates = Tool::Candidates({std::string(split.content)}, 100);
  for (const Tool::Candidate& candidate : candidates) {
    Expect(!Util::FindWireFault(*candidate.type, split.content), "a candidate holds the record");
  }
  Expect(std::is_sorted(candidates.begin(), candidates.end(),
                        [](const Tool::Candidate& a, const Tool::Candidate& b) {
                          return a.evidence.Score() > b.evidence.Score();
                        }),
         "the likeliest comes first");
  const auto message = split.New();
  if (kWireForm.read(split.content, message.get()) &&
      message->GetReflection()->GetUnknownFields(*message).empty() && HasFields(*message)) {
    Expect(std::any_of(candidates.begin(), candidates.end(),
                       [&](const Tool::Candidate& candidate) {
                         return candidate.type == message->GetDescriptor();
                       }),
           "the type that knows all fields is a candidate");
  }
  for (const std::string_view record : Tool::SplitDelimited(split.content, true)) {
    Expect(record.data() >= split.content.data() &&
               record.data() + record.size() <= split.content.data() + split.content.size(),
           "a record lies in the bytes");
  }
  ExpectLinear("sampling", split.content, 8 << 10, [](const std::string& bytes) {
    Tool::BeginningOfMessage(bytes, bytes.size() - 1, true);
    Tool::IsWellFormed(bytes);
    Tool::SplitDelimited(bytes, true);
  });
  ExpectLinear("guessing", split.content, 1 << 10,
               [](const std::string& bytes) { Tool::Candidates({bytes}, 100); });
}

const Registration kRegistration({"guess", Run, WireSeeds, MutateWire});

}  // namespace
}  // namespace CmnSys::Fuzz
