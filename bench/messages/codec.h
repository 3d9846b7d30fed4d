// One way to carry a query result as bytes.

#ifndef CMNSYS_BENCH_MESSAGES_CODEC_H_
#define CMNSYS_BENCH_MESSAGES_CODEC_H_

#include <cstdint>
#include <memory>
#include <string_view>

#include "values/event_values.h"

namespace CmnSys::Bench {

class Codec {
 public:
  Codec() = default;
  virtual ~Codec() = default;
  Codec(const Codec&) = delete;
  Codec& operator=(const Codec&) = delete;

  // Builds a message of the values and writes it. The bytes stay valid until the next call.
  virtual std::string_view Encode(const QueryResultValues& values) = 0;

  // Reads the bytes, adds every field to a sum (see sum.h) and returns it. At least kReadable bytes
  // after the last one may be read too.
  virtual std::uint64_t Decode(std::string_view bytes) = 0;

  static constexpr std::size_t kReadable = 64;
};

std::unique_ptr<Codec> MakeBytesCopied();
std::unique_ptr<Codec> MakeHandWritten();
std::unique_ptr<Codec> MakeOursReused();
std::unique_ptr<Codec> MakeOursBytesAlone();
std::unique_ptr<Codec> MakeOursArena();
std::unique_ptr<Codec> MakeOursArenaGrowing();
std::unique_ptr<Codec> MakeOursHeap();
std::unique_ptr<Codec> MakeOursCheckAlone();
std::unique_ptr<Codec> MakeOursWalkAlone();
std::unique_ptr<Codec> MakeOursJson();
std::unique_ptr<Codec> MakeOursJsonAlone();
std::unique_ptr<Codec> MakeViews();
std::unique_ptr<Codec> MakeValidatedViews();
std::unique_ptr<Codec> MakeCapnProto();
std::unique_ptr<Codec> MakeFlatBuffersVerified();
std::unique_ptr<Codec> MakeFlatBuffersOwned();
std::unique_ptr<Codec> MakeMessagePack();
std::unique_ptr<Codec> MakeSimdjson();
std::unique_ptr<Codec> MakeRapidJson();
std::unique_ptr<Codec> MakeRapidJsonMapping();
std::unique_ptr<Codec> MakeRapidJsonMappingAlone();
std::unique_ptr<Codec> MakePugixml();
std::unique_ptr<Codec> MakeGsoap();

}  // namespace CmnSys::Bench

#endif  // CMNSYS_BENCH_MESSAGES_CODEC_H_
