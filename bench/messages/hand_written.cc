// The same bytes as ours, written and read by code made for these messages alone: no message in
// between, no unknown fields, no merging. What a compiler of views could come near to.

#include <cstring>
#include <stdexcept>
#include <string>

#include "messages/codec.h"
#include "values/sum.h"

namespace CmnSys::Bench {

namespace {

enum WireType : std::uint32_t { kVarint = 0, kFixed64 = 1, kLength = 2, kFixed32 = 5 };

constexpr std::uint32_t Tag(std::uint32_t number, WireType type) { return number << 3 | type; }

std::uint64_t ZigZag(std::int64_t number) {
  return static_cast<std::uint64_t>(number) << 1 ^ static_cast<std::uint64_t>(number >> 63);
}

std::int64_t UnZigZag(std::uint64_t number) {
  return static_cast<std::int64_t>(number >> 1) ^ -static_cast<std::int64_t>(number & 1);
}

// Writes from the end of its memory to the front, so that the length of a message is known when
// its tag is written.
class Writer {
 public:
  void Begin(std::size_t capacity) {
    if (memory_.size() < capacity) memory_.resize(capacity);
    at_ = memory_.data() + memory_.size();
  }

  std::string_view Written() const {
    return {at_, static_cast<std::size_t>(memory_.data() + memory_.size() - at_)};
  }

  // The place up to which a length is counted.
  const char* at() const { return at_; }

  void Varint(std::uint64_t number) {
    if (number < 0x80) {
      *--at_ = static_cast<char>(number);
      return;
    }
    char bytes[10];
    int size = 0;
    for (; number >= 0x80; number >>= 7) bytes[size++] = static_cast<char>(number | 0x80);
    bytes[size++] = static_cast<char>(number);
    at_ -= size;
    std::memcpy(at_, bytes, static_cast<std::size_t>(size));
  }

  template <typename Number>
  void Fixed(Number number) {
    at_ -= sizeof number;
    std::memcpy(at_, &number, sizeof number);
  }

  void VarintField(std::uint32_t number, std::uint64_t value) {
    Varint(value);
    Varint(Tag(number, kVarint));
  }

  void TextField(std::uint32_t number, std::string_view text) {
    at_ -= text.size();
    std::memcpy(at_, text.data(), text.size());
    Varint(text.size());
    Varint(Tag(number, kLength));
  }

  // Makes a sub-message of what was written since.
  void Message(std::uint32_t number, const char* since) {
    Varint(static_cast<std::uint64_t>(since - at_));
    Varint(Tag(number, kLength));
  }

 private:
  std::string memory_;
  char* at_ = nullptr;
};

void Write(std::uint32_t number, const GidValues& gid, Writer* to) {
  const char* const end = to->at();
  to->VarintField(7, static_cast<std::uint64_t>(gid.type));
  to->TextField(4, gid.cluster_id);
  to->TextField(3, gid.server_id);
  to->TextField(2, gid.data_store_id);
  to->TextField(1, gid.id);
  to->Message(number, end);
}

void WritePayload(const EventValues& event, Writer* to) {
  const char* const end = to->at();
  switch (event.kind) {
    case EventKind::kMotionStart:
    case EventKind::kMotionStop:
      Write(3, event.motion.device_gid, to);
      to->TextField(1, event.motion.device_id);
      to->Message(event.kind == EventKind::kMotionStart ? 713 : 714, end);
      break;
    case EventKind::kPlateFound:
      to->Fixed(event.plate.confidence);
      to->Varint(Tag(9, kFixed32));
      to->TextField(8, event.plate.license_plate);
      Write(3, event.plate.device_gid, to);
      to->TextField(1, event.plate.device_id);
      to->Message(711, end);
      break;
    case EventKind::kAnalyticsStart: {
      const auto& ids = event.analytics.target_ids;
      for (auto id = ids.rbegin(); id != ids.rend(); ++id) to->VarintField(6, *id);
      to->VarintField(4, static_cast<std::uint64_t>(event.analytics.activity));
      to->TextField(3, event.analytics.sensor_name);
      to->TextField(2, event.analytics.analytic_event_name);
      Write(1, event.analytics.device_gid, to);
      to->Message(739, end);
      break;
    }
  }
}

void Write(std::uint32_t number, const EventValues& event, Writer* to) {
  const char* const end = to->at();
  WritePayload(event, to);
  to->TextField(19, event.originating_server_name);
  to->VarintField(18, ZigZag(event.originating_event_id));
  Write(17, event.originating_server_gid, to);
  const char* const trigger = to->at();
  to->VarintField(4, event.is_trigger_jiffy ? 1 : 0);
  to->VarintField(3, event.trigger_jiffy);
  to->VarintField(2, event.is_pre_post ? 1 : 0);
  to->VarintField(1, static_cast<std::uint64_t>(event.pre_post_record_time));
  to->Message(16, trigger);
  to->VarintField(15, static_cast<std::uint64_t>(event.kind));
  to->Fixed(event.timestamp);
  to->Varint(Tag(5, kFixed64));
  to->VarintField(3, ZigZag(event.linked_event_id));
  to->VarintField(1, ZigZag(event.this_id));
  to->Message(number, end);
}

[[noreturn]] void Damaged() { throw std::runtime_error("hand-written: bytes are damaged"); }

class Reader {
 public:
  explicit Reader(std::string_view bytes) : at_(bytes.data()), end_(at_ + bytes.size()) {}

  bool More() const { return at_ != end_; }

  std::uint64_t Varint() {
    std::uint64_t number = 0;
    for (unsigned shift = 0; shift < 70 && at_ != end_; shift += 7) {
      const auto byte = static_cast<unsigned char>(*at_++);
      number |= static_cast<std::uint64_t>(byte & 0x7f) << shift;
      if (byte < 0x80) return number;
    }
    Damaged();
  }

  std::int64_t Signed() { return static_cast<std::int64_t>(Varint()); }

  template <typename Number>
  Number Fixed() {
    if (end_ - at_ < static_cast<std::ptrdiff_t>(sizeof(Number))) Damaged();
    Number number;
    std::memcpy(&number, at_, sizeof number);
    at_ += sizeof number;
    return number;
  }

  std::string_view Text() {
    const std::uint64_t size = Varint();
    if (size > static_cast<std::uint64_t>(end_ - at_)) Damaged();
    const std::string_view text(at_, size);
    at_ += size;
    return text;
  }

 private:
  const char* at_;
  const char* end_;
};

void AddGid(std::string_view bytes, Sum* sum) {
  for (Reader in(bytes); in.More();) {
    switch (in.Varint()) {
      case Tag(1, kLength):
      case Tag(2, kLength):
      case Tag(3, kLength):
      case Tag(4, kLength):
        sum->Text(in.Text());
        break;
      case Tag(7, kVarint):
        sum->Number(in.Signed());
        break;
      default:
        Damaged();
    }
  }
}

void AddTrigger(std::string_view bytes, Sum* sum) {
  for (Reader in(bytes); in.More();) {
    in.Varint();
    sum->Number(in.Signed());
  }
}

void AddDevicePayload(std::string_view bytes, Sum* sum) {
  for (Reader in(bytes); in.More();) {
    switch (in.Varint()) {
      case Tag(1, kLength):
      case Tag(8, kLength):
        sum->Text(in.Text());
        break;
      case Tag(3, kLength):
        AddGid(in.Text(), sum);
        break;
      case Tag(9, kFixed32):
        sum->Real(in.Fixed<float>());
        break;
      default:
        Damaged();
    }
  }
}

void AddAnalytics(std::string_view bytes, Sum* sum) {
  for (Reader in(bytes); in.More();) {
    switch (in.Varint()) {
      case Tag(1, kLength):
        AddGid(in.Text(), sum);
        break;
      case Tag(2, kLength):
      case Tag(3, kLength):
        sum->Text(in.Text());
        break;
      case Tag(4, kVarint):
      case Tag(6, kVarint):
        sum->Number(in.Signed());
        break;
      default:
        Damaged();
    }
  }
}

void AddEvent(std::string_view bytes, Sum* sum) {
  for (Reader in(bytes); in.More();) {
    switch (in.Varint()) {
      case Tag(1, kVarint):
      case Tag(3, kVarint):
      case Tag(18, kVarint):
        sum->Number(UnZigZag(in.Varint()));
        break;
      case Tag(5, kFixed64):
        sum->Number(in.Fixed<std::int64_t>());
        break;
      case Tag(15, kVarint):
        sum->Number(in.Signed());
        break;
      case Tag(16, kLength):
        AddTrigger(in.Text(), sum);
        break;
      case Tag(17, kLength):
        AddGid(in.Text(), sum);
        break;
      case Tag(19, kLength):
        sum->Text(in.Text());
        break;
      case Tag(711, kLength):
      case Tag(713, kLength):
      case Tag(714, kLength):
        AddDevicePayload(in.Text(), sum);
        break;
      case Tag(739, kLength):
        AddAnalytics(in.Text(), sum);
        break;
      default:
        Damaged();
    }
  }
}

void AddPair(std::string_view bytes, Sum* sum) {
  for (Reader in(bytes); in.More();) {
    in.Varint();
    AddEvent(in.Text(), sum);
  }
}

class HandWritten : public Codec {
 public:
  std::string_view Encode(const QueryResultValues& values) override {
    // No event of these values comes near to this.
    constexpr std::size_t kEventAtMost = 512;
    writer_.Begin((2 * values.pairs.size() + 1) * kEventAtMost);
    const char* const end = writer_.at();
    for (auto pair = values.pairs.rbegin(); pair != values.pairs.rend(); ++pair) {
      const char* const pair_end = writer_.at();
      if (pair->linked_event) Write(2, *pair->linked_event, &writer_);
      Write(1, pair->event, &writer_);
      writer_.Message(1, pair_end);
    }
    writer_.Message(106, end);
    Write(3, values.gid, &writer_);
    writer_.VarintField(2, 7);
    return writer_.Written();
  }

  std::uint64_t Decode(std::string_view bytes) override {
    Sum sum;
    for (Reader in(bytes); in.More();) {
      switch (in.Varint()) {
        case Tag(2, kVarint):
          in.Varint();
          break;
        case Tag(3, kLength):
          AddGid(in.Text(), &sum);
          break;
        case Tag(106, kLength):
          for (Reader pairs(in.Text()); pairs.More();) {
            pairs.Varint();
            AddPair(pairs.Text(), &sum);
          }
          break;
        default:
          Damaged();
      }
    }
    return sum.value();
  }

 private:
  Writer writer_;
};

}  // namespace

std::unique_ptr<Codec> MakeHandWritten() { return std::make_unique<HandWritten>(); }

}  // namespace CmnSys::Bench
