#include <google/protobuf/descriptor.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "CmnSys/Util/RandomMessage.h"
#include "pairing/pairings.h"

namespace CmnSys::Util {

using google::protobuf::Descriptor;
using google::protobuf::EnumDescriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::Reflection;

namespace {

// Upper bounds of what a tag, a length and a number take on the wire.
constexpr std::size_t kTagBytes = 5;
constexpr std::size_t kLengthBytes = 5;
constexpr std::size_t kNumberBytes = 10;
// What a sub-message takes beside its content.
constexpr std::size_t kOwnBytes = kTagBytes + kLengthBytes;

// What a record that follows a pairing rule takes at least, selector and payload, and how many
// levels its payload may lie below it.
constexpr std::size_t kPairBytes = kTagBytes + kNumberBytes + 3 * kOwnBytes;
constexpr int kPairLevels = 3;

// Pieces of strings: plain words, and everything that text formats have to escape or encode.
constexpr std::array kWords = {
    "lobby",
    "Camera 12",
    "north gate",
    "\xc3\xa9t\xc3\xa9",
    "\xe6\xad\xa3\xe9\x96\x80",
    "\"in\"",
    "a\\b",
    "line\n",
    "\ttab",
    "\xf0\x9f\x9a\xaa",
    "</x>",
    "\xe2\x80\xa8",
    "\x01",
    "\x7f",
    "{\"a\": [1]}",
    "%s",
    "0123456789ABC",
    " ",
};

class Filler {
 public:
  Filler(std::uint64_t seed, const RandomMessageOptions& options)
      : random_(seed), options_(options) {}

  // Sets fields of `message` in at most `budget` bytes; returns the bytes used, or more than were
  // used.
  std::size_t Fill(Message* message, int depth, std::size_t budget) {
    const Pairing* const pairing = PairingOf(message->GetDescriptor());
    std::size_t used = 0;
    if (pairing != nullptr) used += SetPayload(message, *pairing, depth, budget);
    for (const FieldDescriptor* field : ChooseFields(*message)) {
      if (pairing != nullptr && IsPaired(*pairing, field)) continue;
      const int elements = field->is_repeated() ? 1 + static_cast<int>(Below(MaxRepeated())) : 1;
      for (int i = 0; i < elements; ++i) {
        const std::size_t left = budget - std::min(budget, used);
        used += Set(message, field, depth, left);
      }
    }
    return used;
  }

 private:
  std::uint64_t Below(std::uint64_t bound) { return random_() % bound; }
  bool Chance(int percent) { return static_cast<int>(Below(100)) < percent; }
  std::uint64_t MaxRepeated() const {
    return static_cast<std::uint64_t>(std::max(1, options_.max_repeated));
  }

  void Shuffle(std::vector<const FieldDescriptor*>* fields) {
    for (std::size_t i = fields->size(); i > 1; --i) {
      std::swap((*fields)[i - 1], (*fields)[Below(i)]);
    }
  }

  // The fields to set, required ones first, else in random order, so that a small budget does not
  // always go to the same ones.
  std::vector<const FieldDescriptor*> ChooseFields(const Message& message) {
    const Descriptor* type = message.GetDescriptor();
    std::vector<const FieldDescriptor*> chosen;
    for (int i = 0; i < type->field_count(); ++i) {
      const FieldDescriptor* field = type->field(i);
      if (field->is_required() || Chance(options_.percent_set)) chosen.push_back(field);
    }
    if (type->extension_range_count() > 0 && options_.max_extensions > 0) {
      std::vector<const FieldDescriptor*> extensions;
      type->file()->pool()->FindAllExtensions(type, &extensions);
      // The pool's order depends on what was looked up before.
      std::sort(extensions.begin(), extensions.end(),
                [](const auto* a, const auto* b) { return a->number() < b->number(); });
      Shuffle(&extensions);
      const int count = std::min(options_.max_extensions, static_cast<int>(extensions.size()));
      for (int i = 0; i < count; ++i) {
        if (Chance(options_.percent_set)) chosen.push_back(extensions[static_cast<std::size_t>(i)]);
      }
    }
    Shuffle(&chosen);
    std::stable_partition(chosen.begin(), chosen.end(),
                          [](const auto* field) { return field->is_required(); });
    return chosen;
  }

  const Pairing* PairingOf(const Descriptor* type) const {
    return options_.follow_pairing ? FindPairing(type) : nullptr;
  }

  static bool IsPaired(const Pairing& pairing, const FieldDescriptor* field) {
    return field == pairing.described.selector || FindNode(pairing.payloads, field) != nullptr;
  }

  // Whether a message at this depth can hold what its pairing rule asks for.
  bool HasRoom(const Descriptor* type, int depth, std::size_t budget) const {
    return PairingOf(type) == nullptr ||
           (depth + kPairLevels <= options_.max_depth && budget >= kPairBytes);
  }

  // Sets a selector and the payload that goes with it, or one of the payloads of a record without
  // selector. Returns the bytes used.
  std::size_t SetPayload(Message* message, const Pairing& pairing, int depth, std::size_t budget) {
    const FieldDescriptor* const selector = pairing.described.selector;
    std::vector<std::pair<int, PayloadPath>> choices;
    if (selector != nullptr) {
      choices.assign(pairing.path_of_value.begin(), pairing.path_of_value.end());
      if (const auto* const unknown = UnknownKind(pairing)) {
        choices.erase(std::remove_if(choices.begin(), choices.end(),
                                     [unknown](const auto& choice) {
                                       return choice.first == unknown->number();
                                     }),
                      choices.end());
      }
    } else {
      for (const PayloadNode& node : pairing.payloads) choices.push_back({0, {node.field}});
    }
    // What does not fit is no choice. The order is that of the tables, not of pointers.
    std::sort(choices.begin(), choices.end(), [](const auto& a, const auto& b) {
      const auto number = [](const PayloadPath& path) {
        return path.empty() ? 0 : path[0]->number();
      };
      return std::pair(a.first, number(a.second)) < std::pair(b.first, number(b.second));
    });
    choices.erase(
        std::remove_if(choices.begin(), choices.end(),
                       [&](const auto& choice) { return !Fits(choice.second, depth, budget); }),
        choices.end());
    if (choices.empty()) return 0;
    const auto& [value, path] = choices[Below(choices.size())];

    std::size_t used = 0;
    if (selector != nullptr) {
      message->GetReflection()->SetEnumValue(message, selector, value);
      used += kTagBytes + kNumberBytes;
    }
    const std::vector<PayloadNode>* nodes = &pairing.payloads;
    for (const FieldDescriptor* field : path) {
      const PayloadNode* const node = FindNode(*nodes, field);
      if (node == nullptr || node->below.empty())
        return used + Set(message, field, depth, budget - used);
      // Other payloads stand below this one, so that nothing but the path is set.
      message = message->GetReflection()->MutableMessage(message, field);
      nodes = &node->below;
      used += kOwnBytes;
      ++depth;
    }
    return used;
  }

  bool Fits(const PayloadPath& path, int depth, std::size_t budget) const {
    if (path.empty()) return budget >= kTagBytes + kNumberBytes;
    const int leaf_depth = depth + static_cast<int>(path.size());
    const std::size_t steps = kTagBytes + kNumberBytes + path.size() * kOwnBytes;
    if (leaf_depth > options_.max_depth || budget < steps) return false;
    const Descriptor* leaf = path.back()->message_type();
    return leaf == nullptr || HasRoom(leaf, leaf_depth, (budget - steps) / 2);
  }

  // Sets the field, or adds an element to it, when `budget` bytes suffice. Returns the bytes used.
  std::size_t Set(Message* message, const FieldDescriptor* field, int depth, std::size_t budget) {
    const Reflection* reflection = message->GetReflection();
    if (field->cpp_type() == FieldDescriptor::CPPTYPE_MESSAGE) {
      // Half of what is left, so that fields after this one have a share.
      const std::size_t share = (budget - std::min(budget, kOwnBytes)) / 2;
      const bool fits = depth < options_.max_depth && budget >= kOwnBytes &&
                        HasRoom(field->message_type(), depth + 1, share);
      if (!field->is_required() && !fits) return 0;
      Message* child = field->is_repeated() ? reflection->AddMessage(message, field)
                                            : reflection->MutableMessage(message, field);
      return kOwnBytes + Fill(child, depth + 1, share);
    }
    if (field->cpp_type() == FieldDescriptor::CPPTYPE_STRING) {
      const std::string value =
          field->type() == FieldDescriptor::TYPE_STRING ? RandomText() : RandomBytes();
      const std::size_t size = kTagBytes + kLengthBytes + value.size();
      if (!field->is_required() && budget < size) return 0;
      Put(message, field, &Reflection::SetString, &Reflection::AddString, value);
      return size;
    }
    constexpr std::size_t kSize = kTagBytes + kNumberBytes;
    if (!field->is_required() && budget < kSize) return 0;
    SetNumber(message, field);
    return kSize;
  }

  template <typename Setter, typename Adder, typename Value>
  static void Put(Message* message, const FieldDescriptor* field, Setter set, Adder add,
                  const Value& value) {
    const Reflection* reflection = message->GetReflection();
    if (field->is_repeated()) {
      (reflection->*add)(message, field, value);
    } else {
      (reflection->*set)(message, field, value);
    }
  }

  void SetNumber(Message* message, const FieldDescriptor* field) {
    switch (field->cpp_type()) {
      case FieldDescriptor::CPPTYPE_INT32:
        return Put(message, field, &Reflection::SetInt32, &Reflection::AddInt32,
                   RandomInteger<std::int32_t>());
      case FieldDescriptor::CPPTYPE_INT64:
        return Put(message, field, &Reflection::SetInt64, &Reflection::AddInt64,
                   RandomInteger<std::int64_t>());
      case FieldDescriptor::CPPTYPE_UINT32:
        return Put(message, field, &Reflection::SetUInt32, &Reflection::AddUInt32,
                   RandomInteger<std::uint32_t>());
      case FieldDescriptor::CPPTYPE_UINT64:
        return Put(message, field, &Reflection::SetUInt64, &Reflection::AddUInt64,
                   RandomInteger<std::uint64_t>());
      case FieldDescriptor::CPPTYPE_FLOAT:
        return Put(message, field, &Reflection::SetFloat, &Reflection::AddFloat,
                   RandomReal<float, std::uint32_t>());
      case FieldDescriptor::CPPTYPE_DOUBLE:
        return Put(message, field, &Reflection::SetDouble, &Reflection::AddDouble,
                   RandomReal<double, std::uint64_t>());
      case FieldDescriptor::CPPTYPE_BOOL:
        return Put(message, field, &Reflection::SetBool, &Reflection::AddBool, Below(2) == 1);
      case FieldDescriptor::CPPTYPE_ENUM: {
        const EnumDescriptor* type = field->enum_type();
        const int index = static_cast<int>(Below(static_cast<std::uint64_t>(type->value_count())));
        return Put(message, field, &Reflection::SetEnum, &Reflection::AddEnum, type->value(index));
      }
      case FieldDescriptor::CPPTYPE_STRING:
      case FieldDescriptor::CPPTYPE_MESSAGE:
        break;
    }
  }

  template <typename Integer>
  Integer RandomInteger() {
    switch (Below(6)) {
      case 0:
        return std::numeric_limits<Integer>::min();
      case 1:
        return std::numeric_limits<Integer>::max();
      case 2:
        return static_cast<Integer>(random_());
      default:
        return static_cast<Integer>(Below(1000));
    }
  }

  template <typename Real, typename Bits>
  Real RandomReal() {
    using Limits = std::numeric_limits<Real>;
    const std::array edges = {Real{0},
                              -Real{0},
                              Limits::max(),
                              Limits::lowest(),
                              Limits::min(),
                              Limits::denorm_min(),
                              Limits::epsilon(),
                              Limits::infinity(),
                              -Limits::infinity(),
                              Limits::quiet_NaN()};
    constexpr std::size_t kNonFinite = 3;
    switch (Below(4)) {
      case 0:
        return edges[Below(edges.size() - (options_.non_finite ? 0 : kNonFinite))];
      case 1: {
        // Any bits: numbers that only an exact conversion brings back.
        const Bits bits = static_cast<Bits>(random_());
        Real value = 0;
        std::memcpy(&value, &bits, sizeof value);
        return std::isfinite(value) ? value : Real{1} / 3;
      }
      default:
        return static_cast<Real>(static_cast<int>(Below(20001)) - 10000) / 100;
    }
  }

  std::string RandomText() {
    std::string text;
    for (std::uint64_t words = Below(4); words > 0; --words) text += kWords[Below(kWords.size())];
    return text;
  }

  std::string RandomBytes() {
    std::string bytes(Below(3) == 0 ? Below(24) : 16, '\0');
    for (char& byte : bytes) byte = static_cast<char>(random_());
    return bytes;
  }

  std::mt19937_64 random_;
  const RandomMessageOptions& options_;
};

}  // namespace

void FillRandom(std::uint64_t seed, const RandomMessageOptions& options, Message* message) {
  message->Clear();
  Filler(seed, options).Fill(message, 0, options.max_bytes);
}

}  // namespace CmnSys::Util
