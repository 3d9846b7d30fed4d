// A sum over all fields of a message: who reads a field too few, or a wrong value, gets another
// one.

#ifndef CMNSYS_BENCH_VALUES_SUM_H_
#define CMNSYS_BENCH_VALUES_SUM_H_

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "values/event_values.h"

namespace CmnSys::Bench {

// The order in which fields are added does not matter.
class Sum {
 public:
  void Number(std::int64_t number) { value_ += static_cast<std::uint64_t>(number); }

  void Real(float number) {
    std::uint32_t bits = 0;
    std::memcpy(&bits, &number, sizeof bits);
    value_ += bits;
  }

  void Text(std::string_view text) {
    value_ += text.size();
    if (text.empty()) return;
    value_ += static_cast<unsigned char>(text.front());
    value_ += static_cast<std::uint64_t>(static_cast<unsigned char>(text.back())) << 8;
  }

  std::uint64_t value() const { return value_; }

 private:
  std::uint64_t value_ = 0;
};

// What reading the message made of these values must give.
std::uint64_t SumOf(const QueryResultValues& result);

}  // namespace CmnSys::Bench

#endif  // CMNSYS_BENCH_VALUES_SUM_H_
