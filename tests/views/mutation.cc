#include "views/mutation.h"

#include <algorithm>
#include <cstdint>
#include <vector>

#include "CmnSys/View/Wire.h"

namespace CmnSys::Test {

using std::string_literals::operator""s;

namespace {

struct Field {
  std::uint32_t tag;
  std::string value;  // Without its length.
};

std::string Varint(std::uint64_t number) {
  std::string bytes;
  for (; number >= 0x80; number >>= 7) bytes += static_cast<char>(number | 0x80);
  return bytes + static_cast<char>(number);
}

// The same number with a byte more than it needs.
void Lengthen(std::string* varint) {
  varint->back() = static_cast<char>(varint->back() | '\x80');
  *varint += '\0';
}

// The fields of a message; none of one that cannot be read.
std::vector<Field> Split(const std::string& message) {
  std::vector<Field> fields;
  const char* p = message.data();
  const char* const e = p + message.size();
  while (p != e) {
    Field field = {};
    p = View::ReadTag(p, e, &field.tag);
    if (p == nullptr) return {};
    const char* const end = View::SkipValue(p, e, field.tag, View::kMaxDepth);
    if (end == nullptr) return {};
    std::uint32_t length = 0;
    if (View::WireTypeOf(field.tag) == View::kLengthDelimited) p = View::ReadLength(p, e, &length);
    field.value.assign(p, end);
    fields.push_back(field);
    p = end;
  }
  return fields;
}

std::string Join(const std::vector<Field>& fields, std::mt19937* random) {
  std::string bytes;
  for (const Field& field : fields) {
    std::string tag = Varint(field.tag);
    if ((*random)() % 32 == 0) Lengthen(&tag);
    bytes += tag;
    if (View::WireTypeOf(field.tag) == View::kLengthDelimited) {
      std::string length = Varint(field.value.size());
      if ((*random)() % 32 == 0) Lengthen(&length);
      bytes += length;
    }
    bytes += field.value;
  }
  return bytes;
}

void Change(std::vector<Field>* fields, std::mt19937* random, int depth) {
  const std::size_t at = (*random)() % fields->size();
  Field& field = (*fields)[at];
  const bool delimited = View::WireTypeOf(field.tag) == View::kLengthDelimited;
  switch ((*random)() % 10) {
    case 0:
      std::shuffle(fields->begin(), fields->end(), *random);
      break;
    case 1:
      fields->insert(fields->begin() + static_cast<std::ptrdiff_t>((*random)() % fields->size()),
                     Field(field));
      break;
    case 2:
      fields->erase(fields->begin() + static_cast<std::ptrdiff_t>(at));
      break;
    case 3:
    case 4: {  // Its fields in two pieces.
      if (!delimited) break;
      std::vector<Field> inner = Split(field.value);
      if (inner.empty()) break;
      const auto middle = inner.begin() + static_cast<std::ptrdiff_t>((*random)() % inner.size());
      Field second = {field.tag, Join({middle, inner.end()}, random)};
      field.value = Join({inner.begin(), middle}, random);
      fields->insert(fields->begin() +
                         static_cast<std::ptrdiff_t>(at + 1 + (*random)() % (fields->size() - at)),
                     second);
      break;
    }
    case 5:
    case 6:
      if (delimited && depth < 6) field.value = Mutate(field.value, random, depth + 1);
      break;
    case 7:  // Another wire type or number, the value as it is.
      field.tag ^= 1U << ((*random)() % 7);
      if (View::WireTypeOf(field.tag) == View::kEndGroup) field.tag ^= 4;
      break;
    case 8:  // A number of one byte, as if of an enum or packed ones.
      if (View::WireTypeOf(field.tag) == View::kVarint && (*random)() % 2 != 0) {
        field.tag ^= 2;
      } else if (View::WireTypeOf(field.tag) == View::kVarint) {
        field.value =
            Varint((*random)() % 2 != 0 ? (*random)() % 64
                                        : std::uint64_t{(*random)()} << ((*random)() % 32));
      }
      break;
    default: {
      static const std::string kUnknown[] = {"\xf8\x7f\x05"s, "\xfb\x7f\x08\x01\xfc\x7f"s,
                                             "\xfa\x7f\x02\x08\x01"s, "\x0b\x0b\x0c\x0c"s};
      Field unknown = {0, kUnknown[(*random)() % 4]};
      const char* p = unknown.value.data();
      const char* const value = View::ReadTag(p, p + unknown.value.size(), &unknown.tag);
      unknown.value.erase(0, static_cast<std::size_t>(value - p));
      if (View::WireTypeOf(unknown.tag) == View::kLengthDelimited) unknown.value.erase(0, 1);
      fields->insert(fields->begin() + static_cast<std::ptrdiff_t>(at), unknown);
    }
  }
}

}  // namespace

std::string Mutate(const std::string& message, std::mt19937* random, int depth) {
  std::vector<Field> fields = Split(message);
  for (std::size_t changes = 1 + (*random)() % 3; changes > 0 && !fields.empty(); --changes) {
    Change(&fields, random, depth);
  }
  std::string bytes = Join(fields, random);
  if ((*random)() % 8 == 0 && !bytes.empty()) {
    bytes[(*random)() % bytes.size()] ^= static_cast<char>(1U << ((*random)() % 8));
  }
  if ((*random)() % 16 == 0 && !bytes.empty()) bytes.resize((*random)() % bytes.size());
  return bytes;
}

}  // namespace CmnSys::Test
