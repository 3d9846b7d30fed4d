// Times how long an event takes to be written and read, in our library and in what stands beside
// it. Names are <what>/<variant>/<pairs>; an iteration is one message, the counter `events` says
// how many events are in it and `wire` how many bytes one takes.
//
// Before anything is timed, every variant carries the values there and back, and the sums over all
// fields must agree.

#include <benchmark/benchmark.h>

#include <iostream>
#include <map>
#include <memory>
#include <string>

#include "messages/codec.h"
#include "values/sum.h"

namespace {

using CmnSys::Bench::Codec;
using CmnSys::Bench::QueryResultValues;

struct Variant {
  const char* name;
  std::unique_ptr<Codec> (*make)();
  bool grows = false;  // Also timed with other numbers of pairs.
  bool writes = true;
  bool single = false;  // Also timed with a single event, which stays in the nearest cache.
};

constexpr Variant kVariants[] = {
    {"bytes copied", CmnSys::Bench::MakeBytesCopied},
    {"hand-written", CmnSys::Bench::MakeHandWritten, false, true, true},
    {"ours, reused", CmnSys::Bench::MakeOursReused, true},
    {"ours, bytes alone", CmnSys::Bench::MakeOursBytesAlone, false, true, true},
    {"ours, arena", CmnSys::Bench::MakeOursArena, true},
    {"ours, growing arena", CmnSys::Bench::MakeOursArenaGrowing, true},
    {"ours, heap", CmnSys::Bench::MakeOursHeap, true},
    {"ours, check alone", CmnSys::Bench::MakeOursCheckAlone, false, false, true},
    {"ours, walk alone", CmnSys::Bench::MakeOursWalkAlone, false, false, true},
    {"ours, JSON", CmnSys::Bench::MakeOursJson},
    {"ours, JSON alone", CmnSys::Bench::MakeOursJsonAlone, false, true, true},
    {"ours, in place", CmnSys::Bench::MakeViews, true, true, true},
    {"ours, in place, validated", CmnSys::Bench::MakeValidatedViews, true, false, true},
    {"Cap'n Proto", CmnSys::Bench::MakeCapnProto, true, true, true},
    {"FlatBuffers, verified", CmnSys::Bench::MakeFlatBuffersVerified, true, true, true},
    {"FlatBuffers, objects", CmnSys::Bench::MakeFlatBuffersOwned, true},
    {"MessagePack", CmnSys::Bench::MakeMessagePack, true},
    {"simdjson", CmnSys::Bench::MakeSimdjson, false, false},
    {"RapidJSON", CmnSys::Bench::MakeRapidJson},
    {"RapidJSON, our JSON", CmnSys::Bench::MakeRapidJsonMapping},
    {"RapidJSON, our JSON alone", CmnSys::Bench::MakeRapidJsonMappingAlone, false, true, true},
    {"pugixml", CmnSys::Bench::MakePugixml},
    {"gSOAP", CmnSys::Bench::MakeGsoap},
};

constexpr int kPairs = 1000;
constexpr std::uint64_t kSeed = 20'240'229;

const QueryResultValues& Values(int pairs) {
  static std::map<int, QueryResultValues> made;
  const auto there = made.find(pairs);
  if (there != made.end()) return there->second;
  return made[pairs] = CmnSys::Bench::MakeQueryResult(kSeed, static_cast<std::size_t>(pairs));
}

// The bytes, with what may be read after them.
std::string Encoded(Codec& codec, const QueryResultValues& values) {
  const std::string_view bytes = codec.Encode(values);
  std::string copy;
  copy.reserve(bytes.size() + Codec::kReadable);
  copy = bytes;
  return copy;
}

// Whether two variants write the same bytes.
bool WriteTheSame(std::unique_ptr<Codec> one, std::unique_ptr<Codec> other, const char* what) {
  const bool same = Encoded(*one, Values(kPairs)) == Encoded(*other, Values(kPairs));
  if (!same) std::cerr << what << " writes other bytes than ours\n";
  return same;
}

bool Agree() {
  const QueryResultValues& values = Values(kPairs);
  const std::uint64_t sum = CmnSys::Bench::SumOf(values);
  bool agree = true;
  for (const Variant& variant : kVariants) {
    const std::unique_ptr<Codec> codec = variant.make();
    const std::string bytes = Encoded(*codec, values);
    if (codec->Decode(bytes) != sum) {
      std::cerr << variant.name << " reads other values than were written\n";
      agree = false;
    }
  }
  return WriteTheSame(CmnSys::Bench::MakeHandWritten(), CmnSys::Bench::MakeOursReused(),
                      "hand-written") &&
         WriteTheSame(CmnSys::Bench::MakeViews(), CmnSys::Bench::MakeOursReused(),
                      "ours, in place") &&
         WriteTheSame(CmnSys::Bench::MakeRapidJsonMapping(), CmnSys::Bench::MakeOursJson(),
                      "RapidJSON, our JSON") &&
         agree;
}

void Register(const Variant& variant, int pairs) {
  const std::string name = std::string(variant.name) + "/" + std::to_string(pairs);
  const auto per_event = [pairs](benchmark::State& state, std::size_t bytes) {
    const auto events = static_cast<double>(Values(pairs).Events());
    state.counters["events"] = events;
    state.counters["wire"] = static_cast<double>(bytes) / events;
  };
  const auto encode = [=](benchmark::State& state) {
    const std::unique_ptr<Codec> codec = variant.make();
    const QueryResultValues& values = Values(pairs);
    std::size_t bytes = codec->Encode(values).size();
    for (auto _ : state) {
      bytes = codec->Encode(values).size();
      benchmark::DoNotOptimize(bytes);
    }
    per_event(state, bytes);
  };
  const auto decode = [=](benchmark::State& state) {
    const std::unique_ptr<Codec> codec = variant.make();
    const std::string bytes = Encoded(*variant.make(), Values(pairs));
    std::uint64_t sum = codec->Decode(bytes);
    for (auto _ : state) {
      sum = codec->Decode(bytes);
      benchmark::DoNotOptimize(sum);
    }
    per_event(state, bytes.size());
  };
  constexpr auto kUnit = benchmark::kMicrosecond;
  if (variant.writes) benchmark::RegisterBenchmark(("encode/" + name).c_str(), encode)->Unit(kUnit);
  benchmark::RegisterBenchmark(("decode/" + name).c_str(), decode)->Unit(kUnit);
}

}  // namespace

int main(int argc, char** argv) {
  if (!Agree()) return 1;
  for (const Variant& variant : kVariants) {
    Register(variant, kPairs);
    if (variant.single) Register(variant, 1);
    if (!variant.grows) continue;
    for (const int pairs : {100, 10'000, 100'000}) Register(variant, pairs);
  }
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
