#include "messages.h"

#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>
#include <google/protobuf/unknown_field_set.h>

#include "CmnSys/Util/Parse.h"
#include "CmnSys/Util/RandomMessage.h"
#include "CmnSys/Util/Schema.h"

namespace CmnSys::Fuzz {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::Reflection;

namespace {

std::size_t Below(std::size_t count, Random* random) { return (*random)() % count; }

std::vector<const FieldDescriptor*> SetFields(const Message& message) {
  std::vector<const FieldDescriptor*> fields;
  message.GetReflection()->ListFields(message, &fields);
  return fields;
}

// The message and all below it.
void Collect(Message* message, std::vector<Message*>* all) {
  all->push_back(message);
  const Reflection* reflection = message->GetReflection();
  for (const FieldDescriptor* field : SetFields(*message)) {
    if (field->cpp_type() != FieldDescriptor::CPPTYPE_MESSAGE) continue;
    if (!field->is_repeated()) {
      Collect(reflection->MutableMessage(message, field), all);
      continue;
    }
    for (int i = 0; i < reflection->FieldSize(*message, field); ++i) {
      Collect(reflection->MutableRepeatedMessage(message, field, i), all);
    }
  }
}

// Takes a field as a random message of the type has it, which may be not at all.
void ReplaceField(Message* message, Random* random) {
  const std::unique_ptr<Message> other(message->New());
  Util::RandomMessageOptions options;
  options.percent_set = 50;
  options.max_depth = 3;
  options.max_bytes = 512;
  options.non_finite = true;
  Util::FillRandom((*random)(), options, other.get());
  std::vector<const FieldDescriptor*> fields = SetFields(*message);
  for (const FieldDescriptor* field : SetFields(*other)) fields.push_back(field);
  if (fields.empty()) return;
  message->GetReflection()->SwapFields(message, other.get(),
                                       {fields[Below(fields.size(), random)]});
}

void ChangeElements(Message* message, Random* random) {
  std::vector<const FieldDescriptor*> lists;
  for (const FieldDescriptor* field : SetFields(*message)) {
    if (field->is_repeated()) lists.push_back(field);
  }
  if (lists.empty()) return ReplaceField(message, random);
  const FieldDescriptor* list = lists[Below(lists.size(), random)];
  const Reflection* reflection = message->GetReflection();
  const int size = reflection->FieldSize(*message, list);
  reflection->SwapElements(
      message, list, static_cast<int>(Below(static_cast<std::size_t>(size), random)), size - 1);
  if (Below(2, random) == 0) reflection->RemoveLast(message, list);
}

// A field that the type does not know, or a number that an enum does not.
void AddUnknown(Message* message, Random* random) {
  const auto* type = message->GetDescriptor();
  auto* unknown = message->GetReflection()->MutableUnknownFields(message);
  const int count = type->field_count();
  const int number =
      count > 0 && Below(4, random) != 0
          ? type->field(static_cast<int>(Below(static_cast<std::size_t>(count), random)))->number()
          : 1 + static_cast<int>(Below(1 << 20, random));
  switch (Below(4, random)) {
    case 0:
      unknown->AddFixed32(number, static_cast<std::uint32_t>((*random)()));
      break;
    case 1:
      unknown->AddLengthDelimited(number, std::string(Below(20, random), '\x08'));
      break;
    default:
      unknown->AddVarint(number, Below(2, random) == 0 ? (*random)() : Below(100'000, random));
      break;
  }
}

const std::vector<const Message*>& Types() {
  static const auto* const types = [] {
    auto* result = new std::vector<const Message*>;
    for (const std::string& name : Util::MessageNames(Util::SchemaFiles())) {
      result->push_back(google::protobuf::MessageFactory::generated_factory()->GetPrototype(
          Util::FindMessageType(name)));
    }
    return result;
  }();
  return *types;
}

std::string RandomContent(const MessageForm& form, const Message& type, std::uint64_t seed) {
  const std::unique_ptr<Message> message(type.New());
  Util::RandomMessageOptions options;
  options.max_bytes = 300;
  options.follow_pairing = seed % 2 == 0;
  options.non_finite = true;
  Util::FillRandom(seed, options, message.get());
  return JoinInput(type, form.write(*message));
}

bool ReadWire(std::string_view content, Message* message) {
  return message->ParsePartialFromArray(content.data(), static_cast<int>(content.size()));
}

}  // namespace

const MessageForm kWireForm = {ReadWire, Bytes};

TypedInput SplitInput(std::string_view input) {
  const std::size_t end = input.find('\n');
  if (end == std::string_view::npos) return {};
  const auto* type = Util::FindMessageType(std::string(input.substr(0, end)));
  if (type == nullptr) return {};
  return {google::protobuf::MessageFactory::generated_factory()->GetPrototype(type),
          input.substr(end + 1)};
}

std::string JoinInput(const Message& type, std::string_view content) {
  return type.GetTypeName() + "\n" + std::string(content);
}

std::vector<std::string> MessageSeeds(const MessageForm& form) {
  std::vector<std::string> seeds;
  for (const Message* type : Types()) seeds.push_back(RandomContent(form, *type, seeds.size()));
  return seeds;
}

std::string MutateInput(const MessageForm& form, std::string_view input, Random* random) {
  if (Below(50, random) == 0) {
    return RandomContent(form, *Types()[Below(Types().size(), random)], (*random)());
  }
  const TypedInput split = SplitInput(input);
  if (split.prototype == nullptr) return "";
  const std::unique_ptr<Message> message = split.New();
  if (!form.read(split.content, message.get())) return "";
  MutateMessage(message.get(), random);
  return JoinInput(*message, form.write(*message));
}

std::vector<std::string> WireSeeds() { return MessageSeeds(kWireForm); }

std::string MutateWire(std::string_view input, Random* random) {
  return MutateInput(kWireForm, input, random);
}

void MutateMessage(Message* message, Random* random) {
  for (std::size_t times = 1 + Below(3, random); times > 0; --times) {
    std::vector<Message*> all;
    Collect(message, &all);
    Message* node = all[Below(all.size(), random)];
    switch (Below(8, random)) {
      case 0:
        AddUnknown(node, random);
        break;
      case 1:
        ChangeElements(node, random);
        break;
      case 2: {
        // Elsewhere in the message the same type may stand with other values.
        const Message* other = all[Below(all.size(), random)];
        if (other->GetDescriptor() == node->GetDescriptor() && other != node) {
          const std::string bytes = Bytes(*other);
          ReadWire(bytes, node);
          break;
        }
        [[fallthrough]];
      }
      default:
        ReplaceField(node, random);
        break;
    }
  }
}

std::string Bytes(const Message& message) {
  std::string bytes;
  {
    google::protobuf::io::StringOutputStream stream(&bytes);
    google::protobuf::io::CodedOutputStream coded(&stream);
    coded.SetSerializationDeterministic(true);
    message.SerializePartialToCodedStream(&coded);
  }
  return bytes;
}

}  // namespace CmnSys::Fuzz
