#include "tables/indexes.h"

#include <cstring>

namespace CmnSys::Util {

namespace {

std::size_t SlotsFor(std::size_t entries) {
  std::size_t slots = 2;
  while (slots < 2 * entries) slots *= 2;
  return slots;
}

}  // namespace

NumberIndex::NumberIndex(const std::vector<Entry>& entries)
    : slots_(SlotsFor(entries.size()), {0, -1}), mask_(slots_.size() - 1) {
  for (const Entry& entry : entries) {
    if (Find(entry.key) >= 0) continue;
    std::size_t slot = Hash(entry.key);
    while (slots_[slot & mask_].index >= 0) ++slot;
    slots_[slot & mask_] = entry;
  }
}

NameIndex::NameIndex(const std::vector<Entry>& entries)
    : slots_(SlotsFor(entries.size()), {{}, -1}), mask_(slots_.size() - 1) {
  for (const Entry& entry : entries) {
    if (Find(entry.key) >= 0) continue;
    std::size_t slot = Hash(entry.key);
    while (slots_[slot & mask_].index >= 0) ++slot;
    slots_[slot & mask_] = entry;
  }
}

// Names of one type differ in their length, their beginning or their end.
std::size_t NameIndex::Hash(std::string_view key) {
  std::uint64_t first = 0;
  std::uint64_t last = 0;
  if (key.size() >= sizeof first) {
    std::memcpy(&first, key.data(), sizeof first);
    std::memcpy(&last, key.data() + key.size() - sizeof last, sizeof last);
  } else {
    std::memcpy(&first, key.data(), key.size());
  }
  constexpr std::uint64_t kOdd = 0x9e3779b97f4a7c15;
  const std::uint64_t mixed = (first * kOdd) ^ (last + key.size());
  return (mixed * kOdd) >> 32;
}

}  // namespace CmnSys::Util
