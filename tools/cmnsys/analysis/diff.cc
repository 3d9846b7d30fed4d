#include "analysis/diff.h"

#include <google/protobuf/util/field_comparator.h>
#include <google/protobuf/util/message_differencer.h>

namespace CmnSys::Tool {

using google::protobuf::Message;
using google::protobuf::util::DefaultFieldComparator;
using google::protobuf::util::MessageDifferencer;

std::string Differences(const Comparison& comparison, const Message& left, const Message& right) {
  DefaultFieldComparator comparator;
  comparator.set_treat_nan_as_equal(true);
  if (comparison.approximate) comparator.set_float_comparison(DefaultFieldComparator::APPROXIMATE);
  MessageDifferencer differencer;
  differencer.set_field_comparator(&comparator);
  if (comparison.any_order) differencer.set_repeated_field_comparison(MessageDifferencer::AS_SET);
  if (comparison.equivalent)
    differencer.set_message_field_comparison(MessageDifferencer::EQUIVALENT);
  std::string text;
  differencer.ReportDifferencesToString(&text);
  return differencer.Compare(left, right) ? "" : text;
}

}  // namespace CmnSys::Tool
