// Writers give the bytes that the runtime's serializer gives for the same values.

#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>
#include <google/protobuf/message.h>
#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <string>

#include "CmnSys/Util/RandomMessage.h"
#include "CmnSys/Util/Schema.h"
#include "views/values.h"

namespace CmnSys::Test {
namespace {

using google::protobuf::Message;

std::string Serialized(const Message& message) {
  std::string bytes;
  google::protobuf::io::StringOutputStream stream(&bytes);
  google::protobuf::io::CodedOutputStream output(&stream);
  output.SetSerializationDeterministic(true);
  message.SerializePartialToCodedStream(&output);
  output.Trim();
  return bytes;
}

TEST(WritersAgreeWithTheSerializer, OnRandomValuesOfAllMessages) {
  std::mt19937 random(1);    // fixed seed: the same orders in every run
  View::WriteBuffer buffer;  // of all types, so that remembered lengths are often wrong
  for (const std::string& type : Util::MessageNames(Util::SchemaFiles())) {
    const auto write = WriteFunctions().at(type);
    const std::unique_ptr<Message> message(google::protobuf::MessageFactory::generated_factory()
                                               ->GetPrototype(Util::FindMessageType(type))
                                               ->New());
    for (std::uint64_t seed = 0; seed < 8; ++seed) {
      Util::RandomMessageOptions options;
      options.max_extensions = static_cast<int>(seed);
      options.percent_set = seed % 2 == 0 ? 60 : 100;
      options.max_bytes = seed < 6 ? 300 : 40000;
      Util::FillRandom(seed, options, message.get());
      const std::string expected = Serialized(*message);
      write(&buffer, Values(*message, nullptr));
      ASSERT_TRUE(buffer.bytes() == expected)
          << type << " written as\n"
          << testing::PrintToString(buffer.bytes()) << "\nand not as\n"
          << testing::PrintToString(expected);
      write(&buffer, Values(*message, &random));
      ASSERT_TRUE(message->ParseFromString(std::string(buffer.bytes()))) << type;
      ASSERT_EQ(buffer.bytes().size(), expected.size()) << type;
      ASSERT_TRUE(Serialized(*message) == expected) << type << " in another order";
    }
  }
}

}  // namespace
}  // namespace CmnSys::Test
