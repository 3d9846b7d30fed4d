#include "analysis/unordered.h"

#include <google/protobuf/descriptor.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <numeric>
#include <string>
#include <unordered_map>
#include <vector>

namespace CmnSys::Tool {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::Reflection;
using google::protobuf::util::MessageDifferencer;

namespace {

using Path = std::vector<MessageDifferencer::SpecificField>;

template <typename Value>
std::string BytesOf(Value value) {
  std::string bytes(sizeof value, '\0');
  std::memcpy(bytes.data(), &value, sizeof value);
  return bytes;
}

// Every NaN equals every other.
template <typename Value>
Value Normal(Value value) {
  return std::isnan(value) ? std::numeric_limits<Value>::quiet_NaN() : value;
}

// A string that is the same for elements that are equal. Messages must be canonical.
std::string KeyOf(const Message& message, const FieldDescriptor* field, int index) {
  const Reflection* reflection = message.GetReflection();
  switch (field->cpp_type()) {
    case FieldDescriptor::CPPTYPE_INT32:
      return BytesOf(reflection->GetRepeatedInt32(message, field, index));
    case FieldDescriptor::CPPTYPE_INT64:
      return BytesOf(reflection->GetRepeatedInt64(message, field, index));
    case FieldDescriptor::CPPTYPE_UINT32:
      return BytesOf(reflection->GetRepeatedUInt32(message, field, index));
    case FieldDescriptor::CPPTYPE_UINT64:
      return BytesOf(reflection->GetRepeatedUInt64(message, field, index));
    case FieldDescriptor::CPPTYPE_FLOAT:
      return BytesOf(Normal(reflection->GetRepeatedFloat(message, field, index)));
    case FieldDescriptor::CPPTYPE_DOUBLE:
      return BytesOf(Normal(reflection->GetRepeatedDouble(message, field, index)));
    case FieldDescriptor::CPPTYPE_BOOL:
      return BytesOf(reflection->GetRepeatedBool(message, field, index));
    case FieldDescriptor::CPPTYPE_ENUM:
      return BytesOf(reflection->GetRepeatedEnumValue(message, field, index));
    case FieldDescriptor::CPPTYPE_STRING:
      return reflection->GetRepeatedString(message, field, index);
    case FieldDescriptor::CPPTYPE_MESSAGE:
      return reflection->GetRepeatedMessage(message, field, index).SerializePartialAsString();
  }
  return "";
}

std::vector<std::string> KeysOf(const Message& message, const FieldDescriptor* field) {
  std::vector<std::string> keys;
  const int count = message.GetReflection()->FieldSize(message, field);
  for (int i = 0; i < count; ++i) keys.push_back(KeyOf(message, field, i));
  return keys;
}

// Sorts the elements of a repeated field, whose messages must be canonical.
void Sort(Message* message, const FieldDescriptor* field) {
  const std::vector<std::string> keys = KeysOf(*message, field);
  std::vector<int> order(keys.size());
  std::iota(order.begin(), order.end(), 0);
  std::sort(order.begin(), order.end(), [&keys](int a, int b) {
    return keys[static_cast<std::size_t>(a)] < keys[static_cast<std::size_t>(b)];
  });
  // Element i comes from order[i]; each swap puts one in its place.
  for (std::size_t i = 0; i < order.size(); ++i) {
    std::size_t from = static_cast<std::size_t>(order[i]);
    while (from < i) from = static_cast<std::size_t>(order[from]);
    if (from != i) {
      message->GetReflection()->SwapElements(message, field, static_cast<int>(i),
                                             static_cast<int>(from));
    }
    order[i] = static_cast<int>(from);
  }
}

bool IsDefault(const Message& message, const FieldDescriptor* field) {
  const Reflection* reflection = message.GetReflection();
  switch (field->cpp_type()) {
    case FieldDescriptor::CPPTYPE_INT32:
      return reflection->GetInt32(message, field) == field->default_value_int32();
    case FieldDescriptor::CPPTYPE_INT64:
      return reflection->GetInt64(message, field) == field->default_value_int64();
    case FieldDescriptor::CPPTYPE_UINT32:
      return reflection->GetUInt32(message, field) == field->default_value_uint32();
    case FieldDescriptor::CPPTYPE_UINT64:
      return reflection->GetUInt64(message, field) == field->default_value_uint64();
    case FieldDescriptor::CPPTYPE_FLOAT:
      return reflection->GetFloat(message, field) == field->default_value_float();
    case FieldDescriptor::CPPTYPE_DOUBLE:
      return reflection->GetDouble(message, field) == field->default_value_double();
    case FieldDescriptor::CPPTYPE_BOOL:
      return reflection->GetBool(message, field) == field->default_value_bool();
    case FieldDescriptor::CPPTYPE_ENUM:
      return reflection->GetEnumValue(message, field) == field->default_value_enum()->number();
    case FieldDescriptor::CPPTYPE_STRING:
      return reflection->GetString(message, field) == field->default_value_string();
    case FieldDescriptor::CPPTYPE_MESSAGE:
      return reflection->GetMessage(message, field).ByteSizeLong() == 0;
  }
  return false;
}

// Makes equal messages the same bytes.
void MakeCanonical(bool equivalent, Message* message) {
  const Reflection* reflection = message->GetReflection();
  std::vector<const FieldDescriptor*> fields;
  reflection->ListFields(*message, &fields);
  for (const FieldDescriptor* field : fields) {
    const bool is_message = field->cpp_type() == FieldDescriptor::CPPTYPE_MESSAGE;
    if (field->is_repeated()) {
      const int count = is_message ? reflection->FieldSize(*message, field) : 0;
      for (int i = 0; i < count; ++i) {
        MakeCanonical(equivalent, reflection->MutableRepeatedMessage(message, field, i));
      }
      Sort(message, field);
      continue;
    }
    if (is_message) MakeCanonical(equivalent, reflection->MutableMessage(message, field));
    if (field->cpp_type() == FieldDescriptor::CPPTYPE_FLOAT) {
      reflection->SetFloat(message, field, Normal(reflection->GetFloat(*message, field)));
    }
    if (field->cpp_type() == FieldDescriptor::CPPTYPE_DOUBLE) {
      reflection->SetDouble(message, field, Normal(reflection->GetDouble(*message, field)));
    }
    if (equivalent && IsDefault(*message, field)) reflection->ClearField(message, field);
  }
}

class Comparer {
 public:
  Comparer(bool equivalent, MessageDifferencer::Reporter* reporter)
      : equivalent_(equivalent), reporter_(reporter) {}

  void TakeOut(Message* left, Message* right) {
    std::vector<const FieldDescriptor*> fields;
    std::vector<const FieldDescriptor*> right_fields;
    left->GetReflection()->ListFields(*left, &fields);
    right->GetReflection()->ListFields(*right, &right_fields);
    fields.insert(fields.end(), right_fields.begin(), right_fields.end());
    const auto by_number = [](const FieldDescriptor* a, const FieldDescriptor* b) {
      return a->number() < b->number();
    };
    std::sort(fields.begin(), fields.end(), by_number);
    fields.erase(std::unique(fields.begin(), fields.end()), fields.end());
    for (const FieldDescriptor* field : fields) {
      path_.emplace_back();
      path_.back().field = field;
      if (field->is_repeated()) {
        TakeOutElements(field, left, right);
      } else if (field->cpp_type() == FieldDescriptor::CPPTYPE_MESSAGE &&
                 left->GetReflection()->HasField(*left, field) &&
                 right->GetReflection()->HasField(*right, field)) {
        TakeOut(left->GetReflection()->MutableMessage(left, field),
                right->GetReflection()->MutableMessage(right, field));
      }
      path_.pop_back();
    }
  }

 private:
  std::vector<std::string> CanonicalKeys(const Message& message, const FieldDescriptor* field) {
    if (field->cpp_type() != FieldDescriptor::CPPTYPE_MESSAGE) return KeysOf(message, field);
    const Reflection* reflection = message.GetReflection();
    std::vector<std::string> keys;
    const int count = reflection->FieldSize(message, field);
    for (int i = 0; i < count; ++i) {
      const Message& element = reflection->GetRepeatedMessage(message, field, i);
      const std::unique_ptr<Message> copy(element.New());
      copy->CopyFrom(element);
      MakeCanonical(equivalent_, copy.get());
      keys.push_back(copy->SerializePartialAsString());
    }
    return keys;
  }

  void TakeOutElements(const FieldDescriptor* field, Message* left, Message* right) {
    const std::vector<std::string> left_keys = CanonicalKeys(*left, field);
    const std::vector<std::string> right_keys = CanonicalKeys(*right, field);
    // How many more times an element stands on the right than on the left.
    std::unordered_map<std::string, int> more;
    for (const std::string& key : right_keys) ++more[key];
    for (std::size_t i = 0; i < left_keys.size(); ++i) {
      if (--more[left_keys[i]] >= 0) continue;
      SetIndex(i);
      reporter_->ReportDeleted(*left, *right, path_);
    }
    for (std::size_t i = right_keys.size(); i-- > 0;) {
      int& count = more[right_keys[i]];
      if (count <= 0) continue;
      --count;
      SetIndex(i);
      reporter_->ReportAdded(*left, *right, path_);
    }
    left->GetReflection()->ClearField(left, field);
    right->GetReflection()->ClearField(right, field);
  }

  void SetIndex(std::size_t index) {
    path_.back().index = path_.back().new_index = static_cast<int>(index);
  }

  bool equivalent_;
  MessageDifferencer::Reporter* reporter_;
  Path path_;
};

}  // namespace

void TakeOutRepeated(bool equivalent, Message* left, Message* right,
                     MessageDifferencer::Reporter* reporter) {
  Comparer(equivalent, reporter).TakeOut(left, right);
}

}  // namespace CmnSys::Tool
