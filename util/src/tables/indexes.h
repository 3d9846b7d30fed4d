// Where things stand in a list, by a name or number of theirs.

#ifndef CMNSYS_UTIL_SRC_TABLES_INDEXES_H_
#define CMNSYS_UTIL_SRC_TABLES_INDEXES_H_

#include <cstdint>
#include <string_view>
#include <vector>

namespace CmnSys::Util {

// Hash tables with open addressing, at most half full. Where a key stands twice the first counts.
// Find returns -1 for a key that there is not.
class NumberIndex {
 public:
  struct Entry {
    std::int32_t key;
    int index;
  };

  explicit NumberIndex(const std::vector<Entry>& entries);

  int Find(std::int32_t key) const {
    for (std::size_t slot = Hash(key);; ++slot) {
      const Entry& entry = slots_[slot & mask_];
      if (entry.index < 0 || entry.key == key) return entry.index;
    }
  }

 private:
  static std::size_t Hash(std::int32_t key) {
    return (static_cast<std::uint32_t>(key) * std::uint64_t{0x9e3779b97f4a7c15}) >> 32;
  }

  std::vector<Entry> slots_;
  std::size_t mask_;
};

class NameIndex {
 public:
  struct Entry {
    std::string_view key;  // Must outlive the index.
    int index;
  };

  explicit NameIndex(const std::vector<Entry>& entries);

  int Find(std::string_view key) const {
    for (std::size_t slot = Hash(key);; ++slot) {
      const Entry& entry = slots_[slot & mask_];
      if (entry.index < 0 || entry.key == key) return entry.index;
    }
  }

 private:
  static std::size_t Hash(std::string_view key);

  std::vector<Entry> slots_;
  std::size_t mask_;
};

}  // namespace CmnSys::Util

#endif  // CMNSYS_UTIL_SRC_TABLES_INDEXES_H_
