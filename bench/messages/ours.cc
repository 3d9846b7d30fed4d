// The library as programs use it: one message used again and again, a message on an arena, a new
// message each time; and the JSON of CmnSysUtil.

#include <benchmark/benchmark.h>
#include <google/protobuf/arena.h>
#include <google/protobuf/message.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "CmnSys/Util/Check.h"
#include "CmnSys/Util/Json.h"
#include "ProtoBuf/CmnSys/CmnSys.QueryResult.pb.h"
#include "messages/codec.h"
#include "messages/event_fields.h"

namespace CmnSys::Bench {

namespace {

using google::protobuf::Arena;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::Reflection;
using Pb::CmnSys::QueriesResult::QueryResult;

void Require(bool good, const char* what) {
  if (!good) throw std::runtime_error(what);
}

void Parse(std::string_view bytes, QueryResult* result) {
  Require(result->ParseFromArray(bytes.data(), static_cast<int>(bytes.size())),
          "ours: bytes do not parse");
}

class Reused : public Codec {
 public:
  std::string_view Encode(const QueryResultValues& values) override {
    written_.Clear();
    Set(values, written_);
    written_.SerializeToString(&bytes_);
    return bytes_;
  }

  std::uint64_t Decode(std::string_view bytes) override {
    Parse(bytes, &read_);
    return SumOf(read_);
  }

 private:
  QueryResult written_;
  QueryResult read_;
  std::string bytes_;
};

// A message that is built once for the values that are written again and again.
class BuiltOnce {
 public:
  const QueryResult& Of(const QueryResultValues& values) {
    if (built_of_ != &values) {
      message_.Clear();
      Set(values, message_);
      built_of_ = &values;
    }
    return message_;
  }

 private:
  const QueryResultValues* built_of_ = nullptr;
  QueryResult message_;
};

// The library's part of it: writes a message that is built already, reads bytes and no field.
class BytesAlone : public Codec {
 public:
  std::string_view Encode(const QueryResultValues& values) override {
    built_.Of(values).SerializeToString(&bytes_);
    return bytes_;
  }

  std::uint64_t Decode(std::string_view bytes) override {
    Parse(bytes, &read_);
    if (sum_ == 0) sum_ = SumOf(read_);
    return sum_;
  }

 private:
  BuiltOnce built_;
  std::uint64_t sum_ = 0;
  QueryResult read_;
  std::string bytes_;
};

// Does something with a message that has been parsed already, instead of reading it.
class Parsed : public BytesAlone {
 public:
  std::uint64_t Decode(std::string_view bytes) override {
    if (sum_ == 0) {
      Parse(bytes, &parsed_);
      sum_ = SumOf(parsed_);
    }
    Use(parsed_);
    return sum_;
  }

 private:
  virtual void Use(const QueryResult& result) = 0;

  std::uint64_t sum_ = 0;
  QueryResult parsed_;
};

class CheckAlone : public Parsed {
  void Use(const QueryResult& result) override {
    Require(Util::Check(result).empty(), "ours: the checker refuses the message");
  }
};

// Asks reflection for every field and its value: what everything that works by it takes at least.
class WalkAlone : public Parsed {
  void Use(const QueryResult& result) override { benchmark::DoNotOptimize(Walk(result, 0)); }

  std::size_t Walk(const Message& message, std::size_t depth) {
    const Reflection& reflection = *message.GetReflection();
    if (lists_.size() <= depth) lists_.emplace_back();
    reflection.ListFields(message, &lists_[depth]);
    std::size_t sum = 0;
    for (std::size_t i = 0; i < lists_[depth].size(); ++i) {
      const FieldDescriptor* const field = lists_[depth][i];
      if (!field->is_repeated()) {
        sum += Value(message, reflection, field, depth);
        continue;
      }
      const int size = reflection.FieldSize(message, field);
      for (int j = 0; j < size; ++j) {
        sum += field->cpp_type() == FieldDescriptor::CPPTYPE_MESSAGE
                   ? Walk(reflection.GetRepeatedMessage(message, field, j), depth + 1)
                   : reflection.GetRepeatedUInt32(message, field, j);
      }
    }
    return sum;
  }

  std::size_t Value(const Message& message, const Reflection& reflection,
                    const FieldDescriptor* field, std::size_t depth) {
    switch (field->cpp_type()) {
      case FieldDescriptor::CPPTYPE_MESSAGE:
        return Walk(reflection.GetMessage(message, field), depth + 1);
      case FieldDescriptor::CPPTYPE_STRING:
        return reflection.GetStringReference(message, field, &scratch_).size();
      case FieldDescriptor::CPPTYPE_ENUM:
        return static_cast<std::size_t>(reflection.GetEnumValue(message, field));
      case FieldDescriptor::CPPTYPE_INT64:
        return static_cast<std::size_t>(reflection.GetInt64(message, field));
      case FieldDescriptor::CPPTYPE_UINT32:
        return reflection.GetUInt32(message, field);
      case FieldDescriptor::CPPTYPE_BOOL:
        return reflection.GetBool(message, field) ? 1 : 0;
      case FieldDescriptor::CPPTYPE_FLOAT:
        return static_cast<std::size_t>(reflection.GetFloat(message, field));
      default:
        throw std::runtime_error("the values have no such field");
    }
  }

  std::vector<std::vector<const FieldDescriptor*>> lists_;
  std::string scratch_;
};

class Heap : public Codec {
 public:
  std::string_view Encode(const QueryResultValues& values) override {
    QueryResult result;
    Set(values, result);
    result.SerializeToString(&bytes_);
    return bytes_;
  }

  std::uint64_t Decode(std::string_view bytes) override {
    QueryResult result;
    Parse(bytes, &result);
    return SumOf(result);
  }

 private:
  std::string bytes_;
};

class OnArena : public Codec {
 public:
  // An arena asks for memory when the block is used up.
  explicit OnArena(std::size_t block) : block_(block), arena_(block_.data(), block_.size()) {}

  std::string_view Encode(const QueryResultValues& values) override {
    auto* const result = Arena::CreateMessage<QueryResult>(&arena_);
    Set(values, result);
    result->SerializeToString(&bytes_);
    arena_.Reset();
    return bytes_;
  }

  std::uint64_t Decode(std::string_view bytes) override {
    auto* const result = Arena::CreateMessage<QueryResult>(&arena_);
    Parse(bytes, result);
    const std::uint64_t sum = SumOf(*result);
    arena_.Reset();
    return sum;
  }

 private:
  std::vector<char> block_;
  Arena arena_;
  std::string bytes_;
};

std::string_view WriteJson(const QueryResult& message, std::string* json) {
  Util::JsonWriteOptions options;
  options.indent = 0;
  Require(!Util::WriteJson(message, options, json), "our JSON: not written");
  return *json;
}

class Json : public Codec {
 public:
  std::string_view Encode(const QueryResultValues& values) override {
    written_.Clear();
    Set(values, written_);
    return WriteJson(written_, &json_);
  }

  std::uint64_t Decode(std::string_view json) override {
    Require(!Util::ReadJson(json, {}, &read_), "our JSON: not read");
    return SumOf(read_);
  }

 private:
  QueryResult written_;
  QueryResult read_;
  std::string json_;
};

// The utilities' part of it: writes a message that is built already, reads no field of what it
// read.
class JsonAlone : public Codec {
 public:
  std::string_view Encode(const QueryResultValues& values) override {
    return WriteJson(built_.Of(values), &json_);
  }

  std::uint64_t Decode(std::string_view json) override {
    Require(!Util::ReadJson(json, {}, &read_), "our JSON: not read");
    if (sum_ == 0) sum_ = SumOf(read_);
    return sum_;
  }

 private:
  BuiltOnce built_;
  std::uint64_t sum_ = 0;
  QueryResult read_;
  std::string json_;
};

}  // namespace

std::unique_ptr<Codec> MakeOursReused() { return std::make_unique<Reused>(); }
std::unique_ptr<Codec> MakeOursBytesAlone() { return std::make_unique<BytesAlone>(); }
std::unique_ptr<Codec> MakeOursHeap() { return std::make_unique<Heap>(); }
std::unique_ptr<Codec> MakeOursArena() { return std::make_unique<OnArena>(std::size_t{4} << 20); }
std::unique_ptr<Codec> MakeOursArenaGrowing() { return std::make_unique<OnArena>(0); }
std::unique_ptr<Codec> MakeOursCheckAlone() { return std::make_unique<CheckAlone>(); }
std::unique_ptr<Codec> MakeOursWalkAlone() { return std::make_unique<WalkAlone>(); }
std::unique_ptr<Codec> MakeOursJson() { return std::make_unique<Json>(); }
std::unique_ptr<Codec> MakeOursJsonAlone() { return std::make_unique<JsonAlone>(); }

}  // namespace CmnSys::Bench
