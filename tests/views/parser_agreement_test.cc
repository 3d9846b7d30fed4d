// Views read what the runtime's parser makes of the same bytes.

#include <google/protobuf/message.h>
#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <string>
#include <vector>

#include "CmnSys/Util/RandomMessage.h"
#include "CmnSys/Util/Schema.h"
#include "views/comparer.h"
#include "views/mutation.h"

namespace CmnSys::Test {
namespace {

using google::protobuf::Message;
using std::string_literals::operator""s;

const Message& Prototype(const std::string& type) {
  return *google::protobuf::MessageFactory::generated_factory()->GetPrototype(
      Util::FindMessageType(type));
}

TEST(ViewsAgreeWithTheParser, OnRandomAndMutatedBytesOfAllMessages) {
  std::vector<std::string> types = Util::MessageNames(Util::SchemaFiles());
  EXPECT_EQ(types.size(), 806U);
  std::mt19937 random(1);  // fixed seed: the same bytes in every run
  int accepted = 0;
  int refused = 0;
  for (const std::string& type : types) {
    const Message& prototype = Prototype(type);
    const std::unique_ptr<Message> message(prototype.New());
    for (std::uint64_t seed = 0; seed < 6; ++seed) {
      Util::RandomMessageOptions options;
      options.max_extensions = static_cast<int>(seed);
      options.percent_set = seed % 2 == 0 ? 60 : 100;
      options.max_bytes = 1000;
      Util::FillRandom(seed, options, message.get());
      const std::string whole = message->SerializeAsString();
      EXPECT_EQ(CompareWithParser(prototype, whole), "")
          << type << " " << testing::PrintToString(whole);
      std::string bytes = whole;
      for (int i = 0; i < 20; ++i) {
        bytes = Mutate(i % 4 == 0 ? whole : bytes, &random);
        if (i % 10 == 0) bytes += whole;
        const std::string difference = CompareWithParser(prototype, bytes);
        ASSERT_EQ(difference, "") << type << " " << testing::PrintToString(bytes);
        ++(message->ParsePartialFromString(bytes) ? accepted : refused);
      }
    }
  }
  // Both happen often, so that both are compared.
  EXPECT_GT(accepted, 20000);
  EXPECT_GT(refused, 5000);
}

TEST(ViewsAgreeWithTheParser, OnWhatRandomBytesDoNotFind) {
  struct Case {
    const char* type;
    std::string bytes;
  };
  std::vector<Case> cases = {
      // A Gid in two pieces, the second one with a field of the first one.
      {"Pb.CmnSys.Events.Event",
       "\x8a\x01\x03\x0a\x01"
       "a"
       "\x8a\x01\x03\x12\x01"
       "b"s},
      {"Pb.CmnSys.Events.Event",
       "\x8a\x01\x03\x0a\x01"
       "a"
       "\x8a\x01\x03\x0a\x01"
       "b"s},
      {"Pb.CmnSys.Events.Event",
       "\x8a\x01\x03\x0a\x01"
       "a"
       "\x8a\x01\x02\x0a\x01"s},
      // Three extensions, more than a view keeps, each in two pieces.
      {"Pb.CmnSys.Events.Event",
       "\x82\x19\x03\x0a\x01"
       "a\x8a\x19\x03\x0a\x01"
       "b\xaa\x19\x03\x0a\x01"
       "c\x8a\x19\x02\x10\x01\xaa\x19\x02\x10\x01\x82\x19\x03\x0a\x01"
       "d"s},
      // Numbers that the closed enum does not have; the low 32 bits count.
      {"Pb.CmnSys.Gid", "\x38\x02\x38\xe8\x07"s},
      {"Pb.CmnSys.Gid", "\x38\x82\x80\x80\x80\x10"s},
      // Long tags and lengths.
      {"Pb.CmnSys.Gid",
       "\x8a\x80\x80\x80\x10\x01"
       "a"s},
      {"Pb.CmnSys.Gid",
       "\x0a\x81\x80\x80\x80\x00"
       "a"s},
      {"Pb.CmnSys.Gid",
       "\x0a\x81\x80\x80\x80\x80\x00"
       "a"s},
      {"Pb.CmnSys.Gid",
       "\x0a\x81\x80\x80\x80\x08"
       "a"s},
      // Field 1 as a group.
      {"Pb.CmnSys.Gid",
       "\x0b\x0a\x01"
       "a"
       "\x0c\x0a\x01"
       "b"s},
      {"Pb.CmnSys.Gid",
       "\x0b\x0a\x01"
       "a"
       "\x14"s},
  };
  for (const Case& one : cases) {
    EXPECT_EQ(CompareWithParser(Prototype(one.type), one.bytes), "")
        << testing::PrintToString(one.bytes);
  }
}

std::string Repeat(const std::string& text, int times) {
  std::string result;
  for (int i = 0; i < times; ++i) result += text;
  return result;
}

TEST(ViewsAgreeWithTheParser, OnTagsNumbersLengthsAndGroups) {
  const Message& gid = Prototype("Pb.CmnSys.Gid");
  const auto compare = [&](const std::string& bytes) {
    ASSERT_EQ(CompareWithParser(gid, bytes), "") << testing::PrintToString(bytes);
  };
  // Longer than they need to be, or too long.
  for (const std::string& begin : {""s, "\x0a\x01x"s, "\x0b"s}) {
    for (const std::string& end : {""s, "\x0c"s, "\x01x"s, "aaaaaaaa"s}) {
      for (int more = 0; more <= 11; ++more) {
        for (int last = 0; last < 0x80; ++last) {
          const std::string rest = Repeat("\x80", more) + static_cast<char>(last) + end;
          compare(begin + "\x8a" + rest);      // a tag
          compare(begin + "\x08\xff" + rest);  // a number
          compare(begin + "\x0a\x81" + rest);  // a length
        }
      }
    }
  }
  for (int first = 0; first < 0x100; ++first) {
    for (const std::string& rest : {""s, "\x01"s, "\x01\x01\x01\x01"s, Repeat("\x01", 8)}) {
      compare(static_cast<char>(first) + rest);
    }
  }
  for (int depth = 98; depth <= 103; ++depth) {
    compare(Repeat("\x0b", depth) + Repeat("\x0c", depth));
    compare(Repeat("\x13", depth) + "\x0b\x0c" + Repeat("\x14", depth));
  }
  for (const std::string& bytes : {"\x0b\x14"s, "\x0b\x13\x0c\x14"s, "\x8b\x01\x8c\x81\x00"s}) {
    compare(bytes);
  }
  std::mt19937 random(1);  // fixed seed: the same bytes in every run
  // Bytes that mean something in many places.
  const std::string frequent = "\x00\x01\x02\x08\x09\x0a\x0b\x0c\x0d\x12\x13\x14\x80\x81\xff\x7f"s;
  for (int i = 0; i < 100000; ++i) {
    std::string bytes(random() % 24, '\0');
    for (char& byte : bytes) {
      byte = random() % 4 != 0 ? frequent[random() % frequent.size()] : static_cast<char>(random());
    }
    compare(bytes);
  }
}

// The bytes of an Iota that holds messages `depth` levels deep, and in the innermost one these.
std::string Nested(int depth, std::string inner) {
  const char* const tags[] = {"\x12", "\x0a", "\xe2\x0d"};  // arguments, val, iota_localized_string
  for (int level = depth; level > 0; --level) {
    std::string length;
    for (std::size_t rest = inner.size(); length.empty() || rest > 0; rest >>= 7) {
      length += static_cast<char>((rest & 0x7f) | (rest >= 0x80 ? 0x80 : 0));
    }
    inner.insert(0, tags[level % 3 == 1 ? 2 : level % 3 == 2 ? 1 : 0] + length);
  }
  return inner;
}

TEST(ViewsAgreeWithTheParser, OnTheDepthLimit) {
  const Message& iota = Prototype("Pb.CmnSys.Iota");
  for (int depth = 95; depth <= 103; ++depth) {
    for (int groups = 0; groups <= 4; ++groups) {
      std::string inner;
      for (int i = 0; i < groups; ++i) inner = "\xfb\x7f" + inner + "\xfc\x7f";
      EXPECT_EQ(CompareWithParser(iota, Nested(depth, inner)), "") << depth << " and " << groups;
    }
  }
  const auto valid = [&](int depth) {
    return Comparers().at("Pb.CmnSys.Iota")(Nested(depth, ""), nullptr).valid;
  };
  EXPECT_TRUE(valid(100));
  EXPECT_FALSE(valid(101));
}

}  // namespace
}  // namespace CmnSys::Test
