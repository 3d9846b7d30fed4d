#include "analysis/diff.h"

#include <google/protobuf/io/zero_copy_stream_impl_lite.h>
#include <google/protobuf/util/field_comparator.h>
#include <google/protobuf/util/message_differencer.h>

#include <cmath>
#include <memory>

#include "analysis/unordered.h"

namespace CmnSys::Tool {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::util::FieldContext;
using google::protobuf::util::MessageDifferencer;
using google::protobuf::util::SimpleFieldComparator;

namespace {

template <typename Real>
bool ZerosOfOtherSign(Real left, Real right) {
  return left == 0 && right == 0 && std::signbit(left) != std::signbit(right);
}

// Tells 0 from -0, which are equal as numbers; every NaN equals every other.
class Comparator : public SimpleFieldComparator {
 public:
  explicit Comparator(bool approximate) : approximate_(approximate) {
    set_treat_nan_as_equal(true);
    if (approximate) set_float_comparison(APPROXIMATE);
  }

  ComparisonResult Compare(const Message& left, const Message& right, const FieldDescriptor* field,
                           int left_index, int right_index, const FieldContext* context) override {
    const bool differ = !approximate_ && ZerosDiffer(left, right, field, left_index, right_index);
    return differ ? DIFFERENT : SimpleCompare(left, right, field, left_index, right_index, context);
  }

 private:
  static bool ZerosDiffer(const Message& left, const Message& right, const FieldDescriptor* field,
                          int left_index, int right_index) {
    const auto* const reflection = left.GetReflection();
    switch (field->cpp_type()) {
      case FieldDescriptor::CPPTYPE_FLOAT:
        return field->is_repeated()
                   ? ZerosOfOtherSign(reflection->GetRepeatedFloat(left, field, left_index),
                                      reflection->GetRepeatedFloat(right, field, right_index))
                   : ZerosOfOtherSign(reflection->GetFloat(left, field),
                                      reflection->GetFloat(right, field));
      case FieldDescriptor::CPPTYPE_DOUBLE:
        return field->is_repeated()
                   ? ZerosOfOtherSign(reflection->GetRepeatedDouble(left, field, left_index),
                                      reflection->GetRepeatedDouble(right, field, right_index))
                   : ZerosOfOtherSign(reflection->GetDouble(left, field),
                                      reflection->GetDouble(right, field));
      default:
        return false;
    }
  }

  bool approximate_;
};

std::string OrderedDifferences(const Comparison& comparison, const Message& left,
                               const Message& right) {
  Comparator comparator(comparison.approximate);
  MessageDifferencer differencer;
  differencer.set_field_comparator(&comparator);
  if (comparison.any_order) differencer.set_repeated_field_comparison(MessageDifferencer::AS_SET);
  if (comparison.equivalent) {
    differencer.set_message_field_comparison(MessageDifferencer::EQUIVALENT);
  }
  std::string text;
  differencer.ReportDifferencesToString(&text);
  return differencer.Compare(left, right) ? "" : text;
}

}  // namespace

std::string Differences(const Comparison& comparison, const Message& left, const Message& right) {
  // Nearly equal numbers have no order by which to match them.
  if (!comparison.any_order || comparison.approximate) {
    return OrderedDifferences(comparison, left, right);
  }
  const std::unique_ptr<Message> left_rest(left.New());
  const std::unique_ptr<Message> right_rest(right.New());
  left_rest->CopyFrom(left);
  right_rest->CopyFrom(right);
  std::string text;
  {
    google::protobuf::io::StringOutputStream stream(&text);
    MessageDifferencer::StreamReporter reporter(&stream);
    reporter.SetMessages(left, right);
    TakeOutRepeated(comparison.equivalent, left_rest.get(), right_rest.get(), &reporter);
  }
  return text + OrderedDifferences(comparison, *left_rest, *right_rest);
}

}  // namespace CmnSys::Tool
