// Compares what a view reads with what the runtime parsed from the same bytes. The functions that
// go through the fields of each type are generated, see fields_plugin.cc.

#ifndef CMNSYS_TESTS_VIEWS_COMPARER_H_
#define CMNSYS_TESTS_VIEWS_COMPARER_H_

#include <google/protobuf/message.h>

#include <map>
#include <string>
#include <string_view>

#include "CmnSys/View/View.h"
#include "ProtoBuf/CmnSys/CmnSys.validate.h"
#include "views/identifier.h"

namespace CmnSys::Test {

struct Outcome {
  bool valid = false;      // What Validate says.
  bool error = false;      // A view or range has an error.
  std::string difference;  // The first one, empty if there is none.
};

class Comparer {
 public:
  // Without a message nothing is compared, and the views alone are gone through.
  Comparer(const google::protobuf::Message* message, Outcome* outcome)
      : message_(message), outcome_(outcome) {}

  // For singular fields, the value that is read when they are unset included.
  void Is(int number, bool has, bool value);
  void Is(int number, bool has, std::int32_t value);
  void Is(int number, bool has, std::int64_t value);
  void Is(int number, bool has, std::uint32_t value);
  void Is(int number, bool has, std::uint64_t value);
  void Is(int number, bool has, float value);
  void Is(int number, bool has, double value);
  void Is(int number, bool has, std::string_view value);
  void IsEnum(int number, bool has, int value);

  template <typename Range>
  void AreValues(int number, const Range& range, int size) {
    int index = 0;
    for (const auto value : range) {
      if constexpr (std::is_enum_v<std::decay_t<decltype(value)>>) {
        ElementIsEnum(number, index++, static_cast<int>(value));
      } else {
        ElementIs(number, index++, value);
      }
    }
    HasSize(number, index, size);
    if (range.HasError()) outcome_->error = true;
  }

  template <typename V>
  void IsMessage(int number, bool has, const V& view) {
    CompareFields(view, SubMessage(number, has));
  }

  template <typename Range>
  void AreMessages(int number, const Range& range, int size) {
    int index = 0;
    for (const auto view : range) CompareFields(view, Element(number, index++));
    HasSize(number, index, size);
    if (range.HasError()) outcome_->error = true;
  }

  template <typename V>
  void Self(const V& view) {
    if (view.HasError()) outcome_->error = true;
    std::string unknown;
    const bool good = view.ForEachUnknownField(
        [&unknown](const View::UnknownField& field) { Append(field, &unknown); });
    if (!good) outcome_->error = true;
    HasUnknown(unknown);
  }

 private:
  const google::protobuf::FieldDescriptor* Field(int number) const;
  void Differs(int number, const std::string& what);
  template <typename T>
  void Expect(int number, const T& parsed, const T& viewed);
  void HasPresence(int number, bool has);
  void HasSize(int number, int counted, int told);
  bool HasElement(int number, int index);
  void ElementIs(int number, int index, bool value);
  void ElementIs(int number, int index, std::int32_t value);
  void ElementIs(int number, int index, std::int64_t value);
  void ElementIs(int number, int index, std::uint32_t value);
  void ElementIs(int number, int index, std::uint64_t value);
  void ElementIs(int number, int index, float value);
  void ElementIs(int number, int index, double value);
  void ElementIs(int number, int index, std::string_view value);
  void ElementIsEnum(int number, int index, int value);
  Comparer SubMessage(int number, bool has);
  Comparer Element(int number, int index);
  static void Append(const View::UnknownField& field, std::string* to);
  void HasUnknown(const std::string& unknown);

  const google::protobuf::Message* message_;
  Outcome* outcome_;
};

// Makes the view of the bytes and goes through it.
using CompareBytes = Outcome (*)(std::string_view bytes, const google::protobuf::Message* message);

// By the full names of the messages.
std::map<std::string, CompareBytes>& Comparers();

// Parses the bytes and reads them in place. Tells the first difference, what Validate says and
// errors of views included; empty if there is none. The message is only asked for its type.
std::string CompareWithParser(const google::protobuf::Message& type, std::string_view bytes);

template <typename V>
Outcome CompareView(std::string_view bytes, const google::protobuf::Message* message) {
  Outcome outcome;
  outcome.valid = View::Validate<V>(bytes);
  CompareFields(V(bytes), Comparer(message, &outcome));
  return outcome;
}

}  // namespace CmnSys::Test

#endif  // CMNSYS_TESTS_VIEWS_COMPARER_H_
