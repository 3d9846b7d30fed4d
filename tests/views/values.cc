#include "views/values.h"

#include <google/protobuf/descriptor.h>

#include <algorithm>
#include <stdexcept>

namespace CmnSys::Test {

Values::Values(const google::protobuf::Message& message, std::mt19937* random)
    : message_(&message), random_(random) {
  message.GetReflection()->ListFields(message, &fields_);
  if (random != nullptr) std::shuffle(fields_.begin(), fields_.end(), *random);
}

bool Values::NextElement() {
  const auto* field = fields_[at_];
  const int size =
      field->is_repeated() ? message_->GetReflection()->FieldSize(*message_, field) : 1;
  if (element_ + 1 >= size) return false;
  ++element_;
  return true;
}

bool Values::Next() {
  if (at_ == fields_.size()) return false;
  if (NextElement()) return true;
  element_ = 0;
  return ++at_ < fields_.size();
}

#define CMNSYS_GET(Type, type, Getter)                                                       \
  Type Values::Get_##type() const {                                                          \
    const auto& reflection = *message_->GetReflection();                                     \
    const auto* field = fields_[at_];                                                        \
    return field->is_repeated() ? reflection.GetRepeated##Getter(*message_, field, element_) \
                                : reflection.Get##Getter(*message_, field);                  \
  }
CMNSYS_GET(bool, bool, Bool)
CMNSYS_GET(std::int32_t, int32, Int32)
CMNSYS_GET(std::int64_t, int64, Int64)
CMNSYS_GET(std::uint32_t, uint32, UInt32)
CMNSYS_GET(std::uint64_t, uint64, UInt64)
CMNSYS_GET(float, float, Float)
CMNSYS_GET(double, double, Double)
CMNSYS_GET(int, enum, EnumValue)
CMNSYS_GET(std::string, string, String)
#undef CMNSYS_GET

Values Values::Sub() const {
  const auto& reflection = *message_->GetReflection();
  const auto* field = fields_[at_];
  return {field->is_repeated() ? reflection.GetRepeatedMessage(*message_, field, element_)
                               : reflection.GetMessage(*message_, field),
          random_};
}

void Values::Unexpected() const {
  throw std::logic_error(fields_[at_]->full_name() + " is not written");
}

std::map<std::string, WriteFunction>& WriteFunctions() {
  static std::map<std::string, WriteFunction> functions;
  return functions;
}

}  // namespace CmnSys::Test
