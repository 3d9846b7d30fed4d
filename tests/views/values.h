// Writes messages through their writers. The functions that go through the fields of each type are
// generated, see fields_plugin.cc.

#ifndef CMNSYS_TESTS_VIEWS_VALUES_H_
#define CMNSYS_TESTS_VIEWS_VALUES_H_

#include <google/protobuf/message.h>

#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "CmnSys/View/WriteBuffer.h"
#include "views/identifier.h"

namespace CmnSys::Test {

// The values in a message, one after the other.
class Values {
 public:
  // In the order of the field numbers, or with `random` in any order of the fields.
  Values(const google::protobuf::Message& message, std::mt19937* random);

  // Goes on to the next value: of a singular field, or the next element of a repeated one.
  bool Next();
  // Goes on to the next element of this field.
  bool NextElement();

  int number() const { return fields_[at_]->number(); }
  bool Get_bool() const;
  std::int32_t Get_int32() const;
  std::int64_t Get_int64() const;
  std::uint32_t Get_uint32() const;
  std::uint64_t Get_uint64() const;
  float Get_float() const;
  double Get_double() const;
  int Get_enum() const;
  std::string Get_string() const;
  Values Sub() const;
  [[noreturn]] void Unexpected() const;

 private:
  const google::protobuf::Message* message_;
  std::mt19937* random_;
  std::vector<const google::protobuf::FieldDescriptor*> fields_;
  std::size_t at_ = 0;
  int element_ = -1;
};

using WriteFunction = void (*)(View::WriteBuffer* buffer, const Values& values);

// By the full names of the messages.
std::map<std::string, WriteFunction>& WriteFunctions();

template <typename Writer>
void WriteWith(View::WriteBuffer* buffer, const Values& values) {
  Writer writer(buffer);
  WriteFields(writer, values);
}

}  // namespace CmnSys::Test

#endif  // CMNSYS_TESTS_VIEWS_VALUES_H_
