// Which message types unknown wire bytes are likely to be.

#ifndef CMNSYS_TOOLS_ANALYSIS_GUESS_H_
#define CMNSYS_TOOLS_ANALYSIS_GUESS_H_

#include <google/protobuf/descriptor.h>

#include <cstdint>
#include <string>
#include <vector>

namespace CmnSys::Tool {

// What speaks for and against a type.
struct Evidence {
  std::uint64_t unknown_bytes = 0;
  int known_fields = 0;
  int messages = 0;
  int enum_values = 0;
  int texts = 0;
  int unreadable_texts = 0;
  int readable_bytes = 0;  // Bytes fields that hold text.
  int unknown_fields = 0;
  // Records that protobuf writes otherwise from this type: with numbers that are too long for their
  // field, or strings of bytes that pass for packed numbers.
  int rewritten = 0;
  int violations = 0;
  std::vector<std::string> names;  // Of the outermost message's fields.

  // The rarer something is by chance, the more it counts.
  int Score() const {
    return known_fields + messages + 2 * enum_values + 2 * texts - 3 * unreadable_texts -
           readable_bytes - 4 * unknown_fields - 10 * rewritten - 2 * violations;
  }
};

// A type that the records parse as.
struct Candidate {
  const google::protobuf::Descriptor* type = nullptr;
  Evidence evidence;
};

// The types of the library as which all records parse, the likeliest first; at least one record is
// needed. Types that know nothing at the beginning of the first record are given up when others do.
// Every type reads all records, so that they should be small: see BeginningOfMessage.
std::vector<Candidate> Candidates(const std::vector<std::string>& records, int max_depth);

}  // namespace CmnSys::Tool

#endif  // CMNSYS_TOOLS_ANALYSIS_GUESS_H_
