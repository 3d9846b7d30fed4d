// A filter's condition as a program that reads wire bytes.

#ifndef CMNSYS_TOOLS_FILTER_MATCHER_H_
#define CMNSYS_TOOLS_FILTER_MATCHER_H_

#include <google/protobuf/descriptor.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "CmnSys/View/Wire.h"
#include "filter/expression.h"

namespace CmnSys::Tool {

// Tells which messages a condition is true for, from their bytes: a message object is never made,
// and of each message only the fields are looked into that the condition asks for. Fields mean what
// they mean to the protobuf runtime: the last value of a singular field counts, sub-messages that
// occur several times are merged, a field with another wire type is unknown, an enum's undeclared
// number leaves the field as it is, repeated numbers are read packed or not. Not thread-safe.
class Matcher {
 public:
  // Messages nested more than `max_depth` levels below the outermost one count as malformed.
  explicit Matcher(const Expression& expression, int max_depth = View::kMaxDepth);
  ~Matcher();
  Matcher(const Matcher&) = delete;
  Matcher& operator=(const Matcher&) = delete;

  // Whether the condition is true for the message that the bytes hold, or nothing when they are
  // malformed where they had to be read: in the message itself or in a sub-message on a path of the
  // condition. O(bytes of these).
  std::optional<bool> Matches(std::string_view message);

 private:
  struct Message;
  struct Field;
  class Values;

  void Add(const Comparison& comparison, std::size_t index);
  static const char* SkipMost(std::uint64_t numbers, const char* p, const char* e);
  const char* ReadMessage(const Message& message, const char* p, const char* e, int depth_left);
  const char* ReadField(const Field& field, const char* p, const char* e, int depth_left);
  const char* ReadSubMessage(const Field& field, const char* p, const char* e, int depth_left);
  const char* ReadValue(const Field& field, const char* p, const char* e);
  template <typename Value>
  void Take(const Field& field, Value value);
  bool IsTrue(std::size_t node) const;

  const int max_depth_;
  std::vector<Expression::Node> nodes_;
  std::unique_ptr<Message> message_;
  std::vector<Values> values_;  // One for each comparison.
  // Of each comparison: whether it is true for the singular field that is being read; for an unset
  // one; and whether it is true for any element so far.
  std::vector<char> current_;
  std::vector<char> unset_;
  std::vector<char> any_;
};

}  // namespace CmnSys::Tool

#endif  // CMNSYS_TOOLS_FILTER_MATCHER_H_
