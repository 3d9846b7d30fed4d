#include "analysis/diff.h"

#include <google/protobuf/io/zero_copy_stream_impl_lite.h>
#include <google/protobuf/util/field_comparator.h>
#include <google/protobuf/util/message_differencer.h>

#include <memory>

#include "analysis/unordered.h"

namespace CmnSys::Tool {

using google::protobuf::Message;
using google::protobuf::util::DefaultFieldComparator;
using google::protobuf::util::MessageDifferencer;

namespace {

std::string OrderedDifferences(const Comparison& comparison, const Message& left,
                               const Message& right) {
  DefaultFieldComparator comparator;
  comparator.set_treat_nan_as_equal(true);
  if (comparison.approximate) comparator.set_float_comparison(DefaultFieldComparator::APPROXIMATE);
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
